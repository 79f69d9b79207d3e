#include <quarn/Parse.h>

#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <math.h>

#include <functional>

namespace quarn::test {
namespace {

using namespace std::string_literals;
using Texts = std::vector<std::string>;

void ExpectThrown(const std::vector<std::pair<std::function<void()>, const char*>>& cases) {
    for (const auto& [call, message] : cases)
        EXPECT_EQ(ThrownMessage(call), message);
}

TEST(ParseTest, ConvertsNumbers) {
    errno = ERANGE;  // of earlier business
    EXPECT_EQ(ParseU32("  +0x10", 0), 16u);
    EXPECT_EQ(ParseU32("12\0x"s, 0), 12u);
    EXPECT_EQ(ParseU32("4294967297", 0), 1u);
    EXPECT_EQ(ParseU32("-1", 0), UINT32_MAX);
    EXPECT_EQ(ParseU32("4294967295", UINT32_MAX), UINT32_MAX);
    EXPECT_EQ(ParseU32("5", 5, 7) + ParseU32("7", 5, 7), 12u);
    EXPECT_EQ(ParseI16("-0x8000"), -32768);
    EXPECT_EQ(ParseU16("65535", 0) - ParseU16("9", 9), 65526);
    EXPECT_EQ(ParseI32("4294967297"), 1);
    EXPECT_EQ(ParseI64("-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(ParseU64("018446744073709551615", 0) - ParseU64("9", 9), UINT64_MAX - 9);
    EXPECT_EQ(ParseIntMax("-0x10"), -16);
    EXPECT_EQ(ParseAddress("0xFFFFFFFFFFFFFFFF"), INT64_MAX);
    EXPECT_EQ(ParseFloat(" -0x1p-1"), -0.5f);
    EXPECT_EQ(ParseFloat("1e-40"), 1e-40f);
    EXPECT_TRUE(isinf(ParseFloat("1e40")));
    EXPECT_EQ(""s + BCDToASCII(9) + BCDToASCII(10), "9 ");
}

TEST(ParseTest, SaysWhyATextIsNoNumber) {
    ExpectThrown({
        {[] { ParseFloat(" "); }, "Could not convert \" \" to float"},
        {[] { ParseI16("-32769"); }, "Could not convert \"-32769\" to int16"},
        {[] { ParseI16("32768"); }, "Could not convert \"32768\" to int16"},
        {[] { ParseU16("65536", 9); }, "Could not convert \"65536\" to uint16"},
        {[] { ParseI32("9223372036854775808"); }, "Could not convert \"9223372036854775808\" to int32"},
        {[] { ParseU32("0X10", 0); }, "Could not convert \"0X10\" to uint32"},
        {[] { ParseU32("\0001"s, 1, 2); }, "Could not convert empty string to uint32"},
        {[] { ParseI64("0x"); }, "Could not convert \"0x\" to int64"},
        {[] { ParseU64("18446744073709551616", 0); }, "Could not convert \"18446744073709551616\" to uint64"},
        {[] { ParseIntMax("x"); }, "Could not convert \"x\" to intmax"},
        {[] { ParseUIntMax("x", 0); }, "Could not convert \"x\" to uintmax"},
        {[] { ParseIntMax(""); }, "Could not convert empty string to uint64"},
        {[] { ParseAddress("%s "); }, "Could not convert \"%s \" to address"},
        {[] { ParseU16("10", 9); }, "Value \"10\" is not in the range 0..9"},
        {[] { ParseU32("-1", 255); }, "Value \"-1\" is not in the range 0..255"},
        {[] { ParseU32("4", 5, 7); }, "Value \"4\" is not in the range 5..7"},
        {[] { ParseU32("4294967302", 5, 7); }, "Value \"4294967302\" is not in the range 5..7"},
        {[] { ParseU64("10", 9); }, "Value \"10\" is not in the range 0..9"},
        {[] { ParseUIntMax("10", 9); }, "Value \"10\" is not in the range 0..9"},
    });
}

TEST(ParseTest, FindsAddresses) {
    EXPECT_EQ(ParseIPListenerAddress(" \t").ToString(), "127.0.0.1");
    EXPECT_EQ(ParseIPListenerAddress(" * ").ToString(), "0.0.0.0");
    EXPECT_EQ(ThrownMessage([] { ParseIPListenerAddress(" 1.2.3.4"); }),
              " 1.2.3.4 is not a valid IP address");
    EXPECT_EQ(ParseMACAddress(" 00:1B-c5:FF:0a:9F\n"),
              (std::vector<uint8_t>{0, 0x1B, 0xC5, 0xFF, 0x0A, 0x9F}));
    EXPECT_TRUE(ParseMACAddress("00:1B:C5:FF:0A:9").empty());
    for (const std::string text : {"00:1B:C5:FF:0A.9F", "00:1B: 5:FF:0A:9F", "0x:1B:C5:FF:0A:9F"})
        EXPECT_EQ(ThrownMessage([&] { ParseMACAddress(text); }),
                  "Could not convert \"" + text + "\" to MAC address");
}

TEST(ParseTest, SplitsCommandLines) {
    EXPECT_EQ(Tokenize(" \t\n"), Texts{});
    EXPECT_EQ(Tokenize("  set\tx\v-1  \"b c\" \"\""), (Texts{"set", "x", "-1", "b c", ""}));
    EXPECT_EQ(Tokenize("\"\\\" caf\xC3\xA9 \"'\""), (Texts{"\\", "caf\xC3\xA9", "'"}));
    ExpectThrown({{[] { Tokenize("x a\"b\""); }, "Double-quote within token"},
                  {[] { Tokenize("a\""); }, "Double-quote within token"},
                  {[] { Tokenize("a \"b c"); }, "Missing closing double-quote"},
                  {[] { Tokenize("\"a\"\"b\""); }, "Extraneous characters following closing double-quote"}});
}

TEST(ParseTest, SplitsAtDelimiters) {
    EXPECT_EQ(TokenizeDelimited("a,, b,", ','), (Texts{"a", "", " b", ""}));
    EXPECT_EQ(TokenizeDelimited("", ','), Texts{});
    EXPECT_EQ(DescribeUnorderedTokenChanges({"a", "b", "b"}, {"b", "a", "b"}), "");
    EXPECT_EQ(DescribeUnorderedTokenChanges({"b", "b", "y y", "c"}, {"d", "b", "c", "a"}),
              "added \"a\", \"d\"; removed \"b\", \"y y\"");
}

TEST(ParseTest, ParsesSingleRanges) {
    uint32_t first = 77, last = 78;
    for (const char* text : {"", "5-", "-5", "1-2-3", "1--5", "1-b", "1 -2", "4294967296", "0-4294967296"})
        EXPECT_FALSE(ParseU32Range(text, &first, &last, '-')) << text;
    EXPECT_EQ(std::pair(first, last), std::pair(77u, 78u));
    EXPECT_TRUE(ParseU32Range("0x10:4294967295", &first, &last, ':'));
    EXPECT_EQ(std::pair(first, last), std::pair(16u, 4294967295u));
    uint8_t firstByte = 7, lastByte = 8;
    EXPECT_FALSE(ParseByteRange("255-256", &firstByte, &lastByte, '-'));
    EXPECT_EQ(firstByte, 7);
    EXPECT_TRUE(ParseByteRange("255", &firstByte, &lastByte, '-'));
    EXPECT_EQ(firstByte + lastByte, 510);
}

TEST(ParseTest, ExpandsRangeLists) {
    using Values = std::vector<uint32_t>;
    EXPECT_EQ(ParseU32RangeList("", 0, 0, '-'), Values{});
    EXPECT_EQ(ParseU32RangeList("7,1-3,2-1", 7, 6, '-'), (Values{7, 1, 2, 3, 2, 1}));
    EXPECT_EQ(ParseU32RangeList("4294967294-4294967295", 0, 2, '-'), (Values{4294967294, 4294967295}));
    EXPECT_EQ(ParseU32RangeList("1-0", 0, 2, '-'), (Values{1, 0}));
    ExpectThrown({
        {[] { ParseU32RangeList("1,", 0, 9, '-'); }, "Range list is malformed"},
        {[] { ParseU32RangeList("9-1", 8, 1, '-'); }, "Range list contains a value larger than 8"},
        {[] { ParseU32RangeList("5,1-3", 0, 3, '-'); }, "Range list would expand to more than 3 values"},
        {[] { ParseU32RangeList("5,3-1", 0, 3, '-'); }, "Range list would expand to more than 3values"},
        {[] { ParseU32RangeList("0-4294967295", 0, UINT32_MAX, '-'); },
         "Range list would expand to more than 4294967295 values"},
    });
}

TEST(ParseTest, ReadsAndComparesVersions) {
    EXPECT_EQ(ParseVersionString("1.2"), Version(1, 2, 0, 0));
    EXPECT_EQ(ParseVersionString("1.2u3"), Version(1, 2, 3, 0));
    EXPECT_EQ(ParseVersionString("010.2.3.4294967295"), Version(10, 2, 3, 4294967295));
    ExpectThrown({{[] { ParseVersionString("1"); }, "Firmware string is malformed"},
                  {[] { ParseVersionString("1.2.3.4u5"); }, "Firmware string is malformed"},
                  {[] { ParseVersionString("1."); }, "Could not convert empty string to uint32"},
                  {[] { ParseVersionString("1.4294967296"); },
                   "Value \"4294967296\" is not in the range 0..4294967295"}});
    EXPECT_TRUE(DoesVersionMeetMinimum("1.2", "1.2.0.0"));
    EXPECT_FALSE(DoesVersionMeetMinimum("1.9", "1.10"));
}

}  // namespace
}  // namespace quarn::test
