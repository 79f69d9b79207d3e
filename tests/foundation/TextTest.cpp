#include <quarn/Text.h>

#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

namespace quarn {
namespace {

using namespace std::string_literals;

TEST(TextTest, FormatsTextsOfAnyLength) {
    EXPECT_EQ(Format("%%%s|%5.2f|%lu", "a", 1.5, ~0ul), "%a| 1.50|18446744073709551615");
    for (const size_t length : {0, 1, 510, 511, 512, 513, 100000})
        EXPECT_EQ(Format("%s%c", std::string(length, 'x').c_str(), 'y'), std::string(length, 'x') + 'y');
    EXPECT_THROW(Format("%ls", L"\u20AC"), std::string);  // not a character of the C locale
}

TEST(TextTest, FormatsNumbers) {
    EXPECT_EQ(FormatU32(4294967295u), "4294967295");
    EXPECT_EQ(FormatI32(-2147483647 - 1), "-2147483648");
    const struct {
        uint32_t value;
        uint32_t bits;
        const char* text;
    } cases[] = {
        {5, 12, "0x005"}, {5, 13, "0x0005"},     {0xABC, 0, "0xABC"},    {0xABCDE, 8, "0xABCDE"},
        {0, 0, "0x0"},    {1, 32, "0x00000001"}, {1, 36, "0x000000001"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(FormatHexU32(c.value, c.bits), c.text);
    EXPECT_EQ(FormatHTMLColor(0xFF0A0B0C), "#0A0B0C");
    EXPECT_EQ(FormatBits(uint8_t{5}), "00000101");
    EXPECT_EQ(FormatBits(uint16_t{0x8001}), "1000000000000001");
    EXPECT_EQ(FormatBits(uint32_t{1}), std::string(31, '0') + '1');
    EXPECT_EQ(FormatBits(uint64_t{1} << 63), '1' + std::string(63, '0'));
}

TEST(TextTest, FormatsUTCTimeOfAtMost49Characters) {
    EXPECT_EQ(FormatTime("%Y/%m/%d %H:%M:%S UTC", 946080001), "1999/12/25 00:00:01 UTC");
    EXPECT_EQ(FormatTime("%Y", -1), "1969");
    EXPECT_EQ(FormatTime(std::string(45, '-') + "%Y", 0), std::string(45, '-') + "1970");
    EXPECT_EQ(FormatTime(std::string(46, '-') + "%Y", 0), "");
    EXPECT_EQ(FormatTime("%Y", INT64_MAX), "");
}

TEST(TextTest, RendersDataInHexadecimal) {
    const std::vector<uint8_t> bytes = {0x00, 0xFF, 0x4A};
    EXPECT_EQ(FormatHexByteVector(bytes), "0x00 0xFF 0x4A");
    EXPECT_EQ(FormatHexBytes(bytes.data(), 1), "0x00");
    EXPECT_EQ(FormatHexCharVector({'\x80', 'A'}), "0x80 0x41");
    EXPECT_EQ(FormatHexBytesUnprefixed(bytes.data(), bytes.size()), "00FF4A");
    EXPECT_EQ(FormatHexBytesUnprefixedSeparated(bytes.data(), bytes.size(), "::"), "00::FF::4A");
    EXPECT_EQ(FormatHexByteVectorUnprefixedSeparated({0xAB}, "-"), "AB");
    EXPECT_EQ(FormatHexQuadVector({0xDEADBEEF, 1}), "0xDEADBEEF 0x00000001");
    EXPECT_EQ(FormatHexByteVectorUnprefixedSeparated({}, "-") + FormatHexBytes(nullptr, 0) +
                  FormatHexQuadVector({}),
              "");
    EXPECT_EQ(FormatHexByteVectorHexdumpC({'A', 'b', 0x7F, ' ', 0xFF}, 3), "41 62 7F | Ab.\n20 FF    |  .");
    EXPECT_EQ(FormatHexByteVectorHexdumpC({'A', 'b'}, 0), "41 62" + Spaces(42) + " | Ab");
}

TEST(TextTest, ShortensListsOfNumbersToRanges) {
    const struct {
        std::vector<uint32_t> values;
        const char* text;
    } cases[] = {
        {{}, ""},
        {{7}, "7"},
        {{4, 5}, "4,5"},
        {{5, 4}, "5,4"},
        {{4, 5, 6}, "4:6"},
        {{9, 8, 7}, "9:7"},
        {{1, 2, 3, 5, 7, 8}, "1:3,5,7,8"},
        // A number belongs to one run only, and a run keeps its direction.
        {{1, 2, 3, 2, 1}, "1:3,2,1"},
        {{3, 2, 3, 4}, "3,2,3,4"},
        {{10, 1, 2, 3}, "10,1:3"},
        {{4294967294, 4294967295, 0, 1}, "4294967294,4294967295,0,1"},
        {{0, 4294967295, 4294967294}, "0,4294967295,4294967294"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(FormatU32RangeList(c.values, ':'), c.text);
    for (const auto& values : {std::vector<uint32_t>{3, 3}, {1, 2, 3, 3}, {9, 1, 1}})
        EXPECT_EQ(test::ThrownMessage([&] { FormatU32RangeList(values, '-'); }),
                  "Range list contains duplicate entry");
}

TEST(TextTest, MakesEveryBytePrintable) {
    EXPECT_EQ(Prettify("\x1B\0\x7F"s), "\\x1B^@\\x7F");
    EXPECT_EQ(Prettify("a\\ \a\b\t\n\v\f\r"), "a\\ \\a\\b\\t\\n\\v\\f\\r");
    EXPECT_EQ(Prettify("\x01\x06\x0E\x1A\x1F\x80\xFF"), "^A^F^N^Z\\x1F\\x80\\xFF");
}

TEST(TextTest, TrimsAndCutsCopies) {
    const std::string text = " \t\n\v\f\ra b\xA0 \r\n";
    EXPECT_EQ(Trim(text), "a b\xA0");
    EXPECT_EQ(TrimLeft(text), "a b\xA0 \r\n");
    EXPECT_EQ(TrimRight(text), " \t\n\v\f\ra b\xA0");
    EXPECT_EQ(Trim(" \t ") + TrimLeft(" \t ") + TrimRight(" \t "), "");
    EXPECT_EQ(Truncate("abcdef", 3), "abc[...]");
    EXPECT_EQ(Truncate("abc", 3), "abc");
    EXPECT_EQ(Truncate("abc", 0), "[...]");
    EXPECT_EQ(Concatenate("", "b", ", "), "b");
    EXPECT_EQ(Concatenate("a", "", ", "), "a, ");
    EXPECT_EQ(Concatenate("a", "b", ", "), "a, b");
    EXPECT_EQ(ToUpper("az{`\xE4 19AZ"), "AZ{`\xE4 19AZ");
    EXPECT_EQ(Spaces("abc") + Chars('-', 2) + Spaces(1), "   -- ");
    EXPECT_EQ(FixNetworkName("  Stage\t \n!Left_1/b-2. "), "Stage Left_1b-2");
}

TEST(TextTest, RemovesRedundantZerosOfDecimals) {
    const std::pair<const char*, const char*> cases[] = {
        {"12.500", "12.5"},   {"12.000", "12"}, {"007", "7"},    {"00", "0"},
        {"0.5", ".5"},        {"0.0", "0"},     {".0", "."},     {"100", "100"},
        {"0100.10", "100.1"}, {"1.2.0", "1.2"}, {"10.0.", "10"}, {"", ""},
    };
    for (const auto& [text, canonical] : cases)
        EXPECT_EQ(CanonicalDecimal(text), canonical) << text;
}

TEST(TextTest, ChangesTextsInPlace) {
    std::string text;
    Append(text, "", ", ");
    EXPECT_EQ(text, "");
    Append(text, "a", ", ");
    Append(text, "", ", ");
    Append(text, text, ", ");
    EXPECT_EQ(text, "a, a");
    const struct {
        const char* text;
        const char* from;
        const char* to;
        const char* result;
    } cases[] = {
        {"aaa", "a", "aa", "aaaaaa"}, {"aaa", "aa", "b", "ba"}, {"a.b.", ".", "", "ab"},
        {"abc", "", "x", "abc"},      {"abc", "d", "x", "abc"}, {"aXbc", "ab", "", "aXbc"},
        {"aabb", "ab", "", "ab"},
    };
    for (const auto& c : cases) {
        text = c.text;
        StringReplace(text, c.from, c.to);
        EXPECT_EQ(text, c.result);
    }
    text = "a\tb \nc\xA0";
    ReplaceWhiteSpace(text, '_');
    EXPECT_EQ(text, "a_b__c\xA0");
}

TEST(TextTest, LaysOutColumnsWithTrailingSpaces) {
    using Lines = std::list<std::string>;
    EXPECT_EQ(FormatColumnarList({}), Lines());
    EXPECT_EQ(FormatColumnarList({{"Name", "Value"}, {"x", "12345"}}),
              (Lines{"Name  Value  ", "x     12345  "}));
    const Lines lines = FormatColumnarList({{}, {"a"}, {"", "bc", "d"}, {"longer"}});
    EXPECT_EQ(lines, (Lines{"", "a       ", "        bc  d  ", "longer  "}));
    const test::TempDirectory directory;
    FILE* file = fopen(directory.File("table").c_str(), "we");
    ASSERT_NE(file, nullptr);
    WriteLines(file, lines);
    fclose(file);
    EXPECT_EQ(directory.Read("table"), "\na       \n        bc  d  \nlonger  \n");
}

}  // namespace
}  // namespace quarn
