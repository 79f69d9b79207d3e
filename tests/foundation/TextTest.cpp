#include "foundation/FoundationTest.h"

namespace quarn::test {

TEST(TextTest, FormatsTextsOfAnyLength) {
    for (const size_t length : {0, 510, 511, 512, 100000})
        EXPECT_EQ(Format("%s%c", std::string(length, 'x').c_str(), 'y'), std::string(length, 'x') + 'y');
    for (const auto& make : {+[] { Format("%ls", L"\u20AC"); }, +[] { MonitorException("%ls", L"\u20AC"); }})
        EXPECT_THAT(
            make,  // not a character of the C locale
            testing::Throws<std::string>(testing::StrEq("vasprintf failed (probably out of memory)")));
}

TEST(TextTest, FormatsNumbersAndData) {
    const std::vector<uint8_t> bytes = {0x00, 0xFF, 0x4A};
    std::string changed = "a\tb \nc\xA0";
    ReplaceWhiteSpace(changed, '_');
    for (const char* addition : {"", "a"})
        Append(changed, addition, ", ");
    const std::pair<std::string, std::string> cases[] = {
        {FormatHexU32(5, 12), "0x005"},
        {FormatHexU32(0xABCDE, 8), "0xABCDE"},
        {FormatHexU32(0, 0), "0x0"},
        {Debug::FormatMask(0x2abc), "0x00002ABC"},
        {FormatHexByteVector(bytes), "0x00 0xFF 0x4A"},
        {FormatHexBytesUnprefixedSeparated(bytes.data(), 3, "::"), "00::FF::4A"},
        {FormatHexByteVectorHexdumpC({'A', 'b', 0x7F, ' ', 0xFF}, 3), "41 62 7F | Ab.\n20 FF    |  ."},
        {FormatHexByteVectorHexdumpC({'A', 'b'}, 0), "41 62" + Spaces(42) + " | Ab"},
        // At most 49 characters.
        {FormatTime(Chars('-', 45) + "%Y", -1), Chars('-', 45) + "1969"},
        {FormatTime(Chars('-', 46) + "%Y", 0) + FormatTime("%Y", INT64_MAX), ""},
        {Truncate("abcdef", 3) + Truncate("abc", 3), "abc[...]abc"},
        {Concatenate("", "b", ", ") + Concatenate("a", "", ", "), "ba, "},
        {changed, "a_b__c\xA0, a"},
        {Joined(FormatColumnarList({{}, {"a"}, {"", "bc", "d"}, {"longer"}})),
         "\na       \n        bc  d  \nlonger  "},
    };
    for (const auto& [actual, expected] : cases)
        EXPECT_EQ(actual, expected);
    for (const auto& [from, to] : {std::pair{"_", "__"}, {"__c", ""}, {"", "x"}})
        StringReplace(changed, from, to);
    EXPECT_EQ(changed, "a__b__\xA0, a");
}

TEST(TextTest, MakesTheTextsOfTheTable) {
    Commands commands;
    const std::pair<const char*, std::string (*)(const std::string&)> functions[] = {
        {"trim", Trim},
        {"left", TrimLeft},
        {"right", TrimRight},
        {"upper", ToUpper},
        {"prettify", Prettify},
        {"decimal", CanonicalDecimal},
        {"network", FixNetworkName}};
    for (const auto& [name, function] : functions)
        commands[name] = [make = function](auto& w, auto& out) { out << Prettify(make(w.at(1))); };
    commands["ranges"] = [](auto& w, auto& out) {
        std::vector<uint32_t> values;
        for (size_t i = 1; i < w.size(); ++i)
            values.push_back(static_cast<uint32_t>(std::stoul(w[i])));
        out << FormatU32RangeList(values, ':');
    };
    commands["match"] = [](auto& w, auto& out) { out << Wildcard::Match(w.at(1), w.at(2), true); };
    commands["alike"] = [](auto& w, auto& out) { out << Wildcard::Match(w.at(1), w.at(2), false); };
    commands["masks"] = [](auto& w, auto& out) {
        testing::internal::CaptureStdout();
        Debug::Usage(stdout, w.at(1).c_str());
        out << Joined(SplitLines(testing::internal::GetCapturedStdout()));
    };
    CommandPlayer(commands).Replay("text.txt");
}

}  // namespace quarn::test
