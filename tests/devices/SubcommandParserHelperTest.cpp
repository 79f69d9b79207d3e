#include "devices/DeviceTest.h"

namespace quarn::test {

TEST(SubcommandParserHelperTest, HandsOutArgumentsAndComplains) {
    const std::string command = "i2c", none;
    const SubcommandParserHelper bare(command, {}), parser(command, {"set", "on", "", "off"});
    const SubcommandParserHelper nameless(none, {"raed", "x"});
    EXPECT_EQ(parser.Arg(2), "off");
    EXPECT_TRUE(parser.BinaryArg(0, "on", "off"));
    EXPECT_FALSE(parser.BinaryArg(2, "on", "off"));
    EXPECT_EQ(parser.Line(), "i2c set on  off");
    const std::pair<std::function<void()>, const char*> complaints[] = {
        {[&] { parser.Arg(3); }, "\"i2c set\" command has no argument with index 3"},
        {[&] { parser.BinaryArg(1, "on", "off"); }, "\"i2c set\" command expects \"on\" or \"off\""},
        {[&] { bare.Unk(); }, "\"i2c\" handler not checking for no-subcommand case"},
        {[&] { nameless.Unk(); }, "Unknown command \"raed\""},
        {[&] { parser.Usage(); }, "Issue \"i2c\" for usage information"},
        {[&] { parser.Improper(); }, "Improper \"i2c set\" command"},
    };
    for (const auto& [call, complaint] : complaints)
        EXPECT_EQ(ThrownMessage(call), complaint);
}

}  // namespace quarn::test
