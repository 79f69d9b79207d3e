#include <quarn/Wildcard.h>

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

TEST(WildcardTest, MatchesAsTheSingleStarMatcherDoes) {
    const std::tuple<const char*, const char*, bool, bool> cases[] = {
        {"", "**", true, true},
        {"rf.gain", "*gain", true, true},
        {"rf.gain", "*.*gain*", true, true},
        {"rf.gain", "rf.gai", true, false},
        // A star in the text equals the pattern's own and then anchors nothing.
        {"a*b", "a*b", true, true},
        {"*x", "*", true, false},
        // The text is never gone back in.
        {"aaab", "*aab", true, false},
        {"xabyab", "*ab", true, true},
        {"RF.Gain", "rf.*", true, false},
        {"RF.Gain", "rf.*", false, true},
        {"rf.gain", "RF.GAIN", false, true},
        // After re-anchoring the pattern's character is not folded.
        {"aAb", "*ab", false, true},
        {"aAb", "*AB", false, false},
    };
    for (const auto& [text, pattern, caseSensitive, matches] : cases)
        EXPECT_EQ(Wildcard::Match(text, pattern, caseSensitive), matches) << text << " against " << pattern;
}

}  // namespace
}  // namespace quarn::test
