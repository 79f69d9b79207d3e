#include <quarn/Text.h>

#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

namespace quarn::test {
namespace {

using namespace std::string_literals;

// What functions made of their arguments, and what they were to make.
void Check(const std::vector<std::pair<std::string, std::string>>& cases) {
    for (const auto& [actual, expected] : cases)
        EXPECT_EQ(actual, expected);
}

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
    Check({{FormatHexU32(5, 12), "0x005"},
           {FormatHexU32(5, 13), "0x0005"},
           {FormatHexU32(0xABCDE, 8), "0xABCDE"},
           {FormatHexU32(0, 0), "0x0"},
           {FormatHexU32(1, 36), "0x000000001"},
           {FormatBits(uint16_t{0x8001}), "1000000000000001"},
           {FormatHexByteVector(bytes), "0x00 0xFF 0x4A"},
           {FormatHexBytesUnprefixedSeparated(bytes.data(), 3, "::"), "00::FF::4A"},
           {FormatHexByteVectorUnprefixedSeparated({}, "-"), ""},
           {FormatHexByteVectorHexdumpC({'A', 'b', 0x7F, ' ', 0xFF}, 3), "41 62 7F | Ab.\n20 FF    |  ."},
           {FormatHexByteVectorHexdumpC({'A', 'b'}, 0), "41 62" + Spaces(42) + " | Ab"},
           // At most 49 characters.
           {FormatTime(Chars('-', 45) + "%Y", -1), Chars('-', 45) + "1969"},
           {FormatTime(Chars('-', 46) + "%Y", 0), ""},
           {FormatTime("%Y", INT64_MAX), ""}});
}

TEST(TextTest, ShortensListsOfNumbersToRanges) {
    const std::pair<std::vector<uint32_t>, const char*> cases[] = {
        {{}, ""},
        {{5, 4}, "5,4"},
        {{9, 8, 7}, "9:7"},
        // A number belongs to one run only, and a run keeps its direction.
        {{10, 1, 2, 3, 2, 1, 7}, "10,1:3,2,1,7"},
        {{4294967294, 4294967295, 0, 1}, "4294967294,4294967295,0,1"},
        {{0, 4294967295, 4294967294}, "0,4294967295,4294967294"},
    };
    for (const auto& [values, text] : cases)
        EXPECT_EQ(FormatU32RangeList(values, ':'), text);
    EXPECT_EQ(ThrownMessage([&] { FormatU32RangeList({3, 3}, '-'); }), "Range list contains duplicate entry");
}

TEST(TextTest, ChangesTexts) {
    const std::string text = " \t\n\v\f\ra b\xA0 \r\n";
    std::string changed = "a\tb \nc\xA0";
    ReplaceWhiteSpace(changed, '_');
    for (const char* addition : {"", "a"})
        Append(changed, addition, ", ");
    Check({{Trim(text), "a b\xA0"},
           {TrimLeft(text), "a b\xA0 \r\n"},
           {TrimRight(text), " \t\n\v\f\ra b\xA0"},
           {Trim(" \t ") + TrimLeft(" \t ") + TrimRight(" \t "), ""},
           {Truncate("abcdef", 3) + Truncate("abc", 3), "abc[...]abc"},
           {Concatenate("", ToUpper("b`\xE4z"), ", ") + Concatenate("a", "", ", "), "B`\xE4Za, "},
           {changed, "a_b__c\xA0, a"},
           {FixNetworkName("  Stage\t \n!Left_1/b-2. "), "Stage Left_1b-2"},
           {Prettify("\x1B\0\x7F\x01\x06\x0E\x1A\x1F\x80\xFF"s), "\\x1B^@\\x7F^A^F^N^Z\\x1F\\x80\\xFF"},
           {Prettify("a\\ \a\b\t\n\v\f\r"), "a\\ \\a\\b\\t\\n\\v\\f\\r"}});
    const std::pair<const char*, const char*> decimals[] = {
        {"0100.500", "100.5"}, {"120.000", "120"}, {"100", "100"}, {"00", "0"},
        {"0.0", "0"},          {".0", "."},        {"0.5", ".5"}};
    for (const auto& [decimal, canonical] : decimals)
        EXPECT_EQ(CanonicalDecimal(decimal), canonical) << decimal;
    StringReplace(changed, "_", "__");
    StringReplace(changed, "__c", "");
    StringReplace(changed, "", "x");
    EXPECT_EQ(changed, "a__b__\xA0, a");
}

TEST(TextTest, LaysOutColumnsWithTrailingSpaces) {
    testing::internal::CaptureStdout();
    WriteLines(stdout, FormatColumnarList({{}, {"a"}, {"", "bc", "d"}, {"longer"}}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\na       \n        bc  d  \nlonger  \n");
}

}  // namespace
}  // namespace quarn::test
