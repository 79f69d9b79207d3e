#include <quarn/Text.h>

#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

using namespace std::string_literals;

// What a function made of its arguments, and what it was to make.
using Cases = std::vector<std::pair<std::string, std::string>>;

void Check(const Cases& cases) {
    for (const auto& [actual, expected] : cases)
        EXPECT_EQ(actual, expected);
}

TEST(TextTest, FormatsTextsOfAnyLength) {
    EXPECT_EQ(Format("%%%s|%5.2f|%lu", "a", 1.5, ~0ul), "%a| 1.50|18446744073709551615");
    for (const size_t length : {0, 510, 511, 512, 100000})
        EXPECT_EQ(Format("%s%c", std::string(length, 'x').c_str(), 'y'), std::string(length, 'x') + 'y');
    EXPECT_THROW(Format("%ls", L"\u20AC"), std::string);  // not a character of the C locale
}

TEST(TextTest, FormatsNumbersAndData) {
    const std::vector<uint8_t> bytes = {0x00, 0xFF, 0x4A};
    Check({{FormatU32(4294967295u), "4294967295"},
           {FormatI32(-2147483647 - 1), "-2147483648"},
           {FormatHexU32(5, 12), "0x005"},
           {FormatHexU32(5, 13), "0x0005"},
           {FormatHexU32(0xABCDE, 8), "0xABCDE"},
           {FormatHexU32(0, 0), "0x0"},
           {FormatHexU32(1, 36), "0x000000001"},
           {FormatHTMLColor(0xFF0A0B0C), "#0A0B0C"},
           {FormatBits(uint8_t{5}), "00000101"},
           {FormatBits(uint16_t{0x8001}), "1000000000000001"},
           {FormatBits(uint32_t{1}), Chars('0', 31) + '1'},
           {FormatBits(uint64_t{1} << 63), '1' + Chars('0', 63)},
           {FormatHexByteVector(bytes), "0x00 0xFF 0x4A"},
           {FormatHexCharVector({'\x80', 'A'}), "0x80 0x41"},
           {FormatHexBytesUnprefixed(bytes.data(), 3), "00FF4A"},
           {FormatHexBytesUnprefixedSeparated(bytes.data(), 3, "::"), "00::FF::4A"},
           {FormatHexByteVectorUnprefixedSeparated({}, "-"), ""},
           {FormatHexQuadVector({0xDEADBEEF, 1}), "0xDEADBEEF 0x00000001"},
           {FormatHexByteVectorHexdumpC({'A', 'b', 0x7F, ' ', 0xFF}, 3), "41 62 7F | Ab.\n20 FF    |  ."},
           {FormatHexByteVectorHexdumpC({'A', 'b'}, 0), "41 62" + Spaces(42) + " | Ab"}});
}

TEST(TextTest, FormatsUTCTimeOfAtMost49Characters) {
    Check({{FormatTime("%Y/%m/%d %H:%M:%S UTC", 946080001), "1999/12/25 00:00:01 UTC"},
           {FormatTime("%Y", -1), "1969"},
           {FormatTime(Chars('-', 45) + "%Y", 0), Chars('-', 45) + "1970"},
           {FormatTime(Chars('-', 46) + "%Y", 0), ""},
           {FormatTime("%Y", INT64_MAX), ""}});
}

TEST(TextTest, ShortensListsOfNumbersToRanges) {
    const std::pair<std::vector<uint32_t>, const char*> cases[] = {
        {{}, ""},
        {{7}, "7"},
        {{5, 4}, "5,4"},
        {{9, 8, 7}, "9:7"},
        {{1, 2, 3, 5, 7, 8}, "1:3,5,7,8"},
        // A number belongs to one run only, and a run keeps its direction.
        {{1, 2, 3, 2, 1}, "1:3,2,1"},
        {{10, 1, 2, 3}, "10,1:3"},
        {{4294967294, 4294967295, 0, 1}, "4294967294,4294967295,0,1"},
        {{0, 4294967295, 4294967294}, "0,4294967295,4294967294"},
    };
    for (const auto& [values, text] : cases)
        EXPECT_EQ(FormatU32RangeList(values, ':'), text);
    EXPECT_EQ(ThrownMessage([&] {
                  FormatU32RangeList({1, 2, 3, 3}, '-');
              }),
              "Range list contains duplicate entry");
}

TEST(TextTest, ChangesCopies) {
    const std::string text = " \t\n\v\f\ra b\xA0 \r\n";
    Check({{Trim(text), "a b\xA0"},
           {TrimLeft(text), "a b\xA0 \r\n"},
           {TrimRight(text), " \t\n\v\f\ra b\xA0"},
           {Trim(" \t ") + TrimLeft(" \t ") + TrimRight(" \t "), ""},
           {Truncate("abcdef", 3) + Truncate("abc", 3), "abc[...]abc"},
           {Concatenate("", "b", ", "), "b"},
           {Concatenate("a", "", ", "), "a, "},
           {ToUpper("az{`\xE4 19AZ"), "AZ{`\xE4 19AZ"},
           {Spaces("abc") + Chars('-', 2) + Spaces(1), "   -- "},
           {FixNetworkName("  Stage\t \n!Left_1/b-2. "), "Stage Left_1b-2"},
           {Prettify("\x1B\0\x7F\x01\x06\x0E\x1A\x1F\x80\xFF"s), "\\x1B^@\\x7F^A^F^N^Z\\x1F\\x80\\xFF"},
           {Prettify("a\\ \a\b\t\n\v\f\r"), "a\\ \\a\\b\\t\\n\\v\\f\\r"}});
    const std::pair<const char*, const char*> decimals[] = {
        {"12.500", "12.5"},   {"12.000", "12"}, {"007", "7"},    {"00", "0"},
        {"0.5", ".5"},        {"0.0", "0"},     {".0", "."},     {"100", "100"},
        {"0100.10", "100.1"}, {"1.2.0", "1.2"}, {"10.0.", "10"}, {"", ""},
    };
    for (const auto& [decimal, canonical] : decimals)
        EXPECT_EQ(CanonicalDecimal(decimal), canonical) << decimal;
}

TEST(TextTest, ChangesTextsInPlace) {
    std::string text;
    for (const char* addition : {"", "a", "", "a"})
        Append(text, addition, ", ");
    EXPECT_EQ(text, "a, a");
    const char* const replacements[][4] = {
        {"aaa", "a", "aa", "aaaaaa"}, {"aaa", "aa", "b", "ba"}, {"a.b.", ".", "", "ab"},
        {"abc", "", "x", "abc"},      {"abc", "d", "x", "abc"}, {"aabb", "ab", "", "ab"},
    };
    for (const auto& [before, from, to, after] : replacements) {
        text = before;
        StringReplace(text, from, to);
        EXPECT_EQ(text, after);
    }
    text = "a\tb \nc\xA0";
    ReplaceWhiteSpace(text, '_');
    EXPECT_EQ(text, "a_b__c\xA0");
}

TEST(TextTest, LaysOutColumnsWithTrailingSpaces) {
    const std::list<std::string> lines = FormatColumnarList({{}, {"a"}, {"", "bc", "d"}, {"longer"}});
    EXPECT_EQ(lines, (std::list<std::string>{"", "a       ", "        bc  d  ", "longer  "}));
    const TempDirectory directory;
    FILE* file = fopen(directory.File("table").c_str(), "we");
    WriteLines(file, lines);
    fclose(file);
    EXPECT_EQ(directory.Read("table"), "\na       \n        bc  d  \nlonger  \n");
}

}  // namespace
}  // namespace quarn::test
