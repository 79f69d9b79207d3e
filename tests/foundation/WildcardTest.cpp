#include <quarn/Wildcard.h>

#include <gtest/gtest.h>

namespace quarn {
namespace {

TEST(WildcardTest, MatchesAsTheSingleStarMatcherDoes) {
    const struct {
        const char* text;
        const char* pattern;
        bool caseSensitive;
        bool matches;
    } cases[] = {
        {"", "", true, true},
        {"", "**", true, true},
        {"", "a", true, false},
        {"a", "", true, false},
        {"rf.gain", "rf.*", true, true},
        {"rf.gain", "*gain", true, true},
        {"rf.gain", "*.*", true, true},
        {"rf.gain", "*", true, true},
        {"rf.gain", "rf.gain*", true, true},
        {"rf.gain", "rf.gai", true, false},
        {"rf.gain", "rf.gainx", true, false},
        {"rf.gain", "rf.????", true, false},
        {"a*b", "a*b", true, true},
        // A star in the text equals the pattern's own and then anchors nothing.
        {"*x", "*", true, false},
        // The text is never gone back in.
        {"aaab", "*aab", true, false},
        {"aab", "*aab", true, true},
        {"abab", "*ab", true, true},
        {"xabyab", "*ab", true, true},
        {"RF.Gain", "rf.*", true, false},
        {"RF.Gain", "rf.*", false, true},
        {"rf.gain", "RF.GAIN", false, true},
        // After re-anchoring the pattern's character is not folded.
        {"xxAb", "*Ab", false, true},
        {"aAb", "*ab", false, true},
        {"aAb", "*AB", false, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Wildcard::Match(c.text, c.pattern, c.caseSensitive), c.matches)
            << '"' << c.text << "\" against \"" << c.pattern << "\" " << c.caseSensitive;
}

}  // namespace
}  // namespace quarn
