#include <quarn/SubcommandParserHelper.h>

#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

constexpr size_t EXACT = SIZE_MAX;  // in place of a maximum: the form of Sub() with a count

std::string Outcome(const std::vector<std::string>& words, size_t minimum, size_t maximum) {
    const std::string command = "i2c";
    const SubcommandParserHelper parser(command, words);
    bool result = false;
    const std::string message = ThrownMessage([&] {
        result = maximum == EXACT ? parser.Sub("read", minimum) : parser.Sub("read", minimum, maximum);
    });
    return message != "(nothing thrown)" ? message : result ? "yes" : "no";
}

TEST(SubcommandParserHelperTest, CountsArguments) {
    const struct {
        std::vector<std::string> words;
        size_t minimum, maximum;
        const char* outcome;
    } cases[] = {
        {{}, 0, EXACT, "no"},
        {{}, 0, 0, "no"},
        {{}, 0, 1, "No subcommand"},
        {{"rea", "a"}, 0, EXACT, "no"},
        {{"write", "a"}, 2, 0, "no"},
        {{"read"}, 1, EXACT, "\"i2c read\" command requires 1 argument"},
        {{"read", "a"}, 3, EXACT, "\"i2c read\" command requires 3 arguments"},
        {{"read", "a"}, 0, 0, "\"i2c read\" command requires no arguments"},
        {{"read", "a"}, 1, 0, "yes"},
        {{"read"}, 1, 0, "\"i2c read\" command requires at least 1 argument"},
        {{"read"}, 1, 2, "\"i2c read\" command requires 1 or 2 arguments"},
        {{"read", "a", "b", "c", "d"}, 1, 3, "\"i2c read\" command requires 1 to 3 arguments"},
        {{"write"}, 3, 2, "\"i2c write\" command handler has bad argument limits"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Outcome(c.words, c.minimum, c.maximum), c.outcome)
            << testing::PrintToString(c.words) << " " << c.minimum << " " << c.maximum;
}

TEST(SubcommandParserHelperTest, HandsOutArgumentsAndComplains) {
    const std::string command = "i2c", none;
    const SubcommandParserHelper bare(command, {}), parser(command, {"set", "on", "", "off"});
    const SubcommandParserHelper blank(none, {}), nameless(none, {"raed", "x"});
    EXPECT_EQ(parser.Arg(2), "off");
    EXPECT_EQ(ThrownMessage([&] { parser.Arg(3); }), "\"i2c set\" command has no argument with index 3");
    EXPECT_TRUE(parser.BinaryArg(0, "on", "off"));
    EXPECT_FALSE(parser.BinaryArg(2, "on", "off"));
    EXPECT_EQ(ThrownMessage([&] { parser.BinaryArg(1, "on", "off"); }),
              "\"i2c set\" command expects \"on\" or \"off\"");
    EXPECT_EQ(parser.Line(), "i2c set on  off");
    EXPECT_EQ(ThrownMessage([&] { bare.Unk(); }), "\"i2c\" handler not checking for no-subcommand case");
    EXPECT_EQ(ThrownMessage([&] { blank.Unk(); }), "Handler not checking for blank command case");
    EXPECT_EQ(ThrownMessage([&] { nameless.Unk(); }), "Unknown command \"raed\"");
    EXPECT_EQ(ThrownMessage([&] { parser.Usage(); }), "Issue \"i2c\" for usage information");
    EXPECT_EQ(ThrownMessage([&] { nameless.Usage(); }), "Issue empty command for usage information");
    EXPECT_EQ(ThrownMessage([&] { parser.Improper(); }), "Improper \"i2c set\" command");
    EXPECT_EQ(ThrownMessage([&] { nameless.Improper(); }), "Improper \"raed\" command");
}

}  // namespace
}  // namespace quarn::test
