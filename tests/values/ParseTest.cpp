#include <quarn/Parse.h>
#include <quarn/Text.h>

#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <math.h>

#include <functional>

namespace quarn {
namespace {

using namespace std::string_literals;
using test::ThrownMessage;
using Texts = std::vector<std::string>;

const auto F = [](const std::string& text) { return std::to_string(ParseFloat(text)); };
const auto I16 = [](const std::string& text) { return std::to_string(ParseI16(text)); };
const auto I32 = [](const std::string& text) { return std::to_string(ParseI32(text)); };
const auto I64 = [](const std::string& text) { return std::to_string(ParseI64(text)); };
const auto IMax = [](const std::string& text) { return std::to_string(ParseIntMax(text)); };
const auto Address = [](const std::string& text) { return std::to_string(ParseAddress(text)); };

auto U16(uint16_t max) {
    return [max](const std::string& text) { return std::to_string(ParseU16(text, max)); };
}
auto U32(uint32_t max) {
    return [max](const std::string& text) { return std::to_string(ParseU32(text, max)); };
}
auto U32(uint32_t min, uint32_t max) {
    return [min, max](const std::string& text) { return std::to_string(ParseU32(text, min, max)); };
}
auto U64(uint64_t max) {
    return [max](const std::string& text) { return std::to_string(ParseU64(text, max)); };
}
auto UMax(uint64_t max) {
    return [max](const std::string& text) { return std::to_string(ParseUIntMax(text, max)); };
}

TEST(ParseTest, ConvertsNumbers) {
    const struct {
        std::function<std::string(const std::string&)> parse;
        std::string text;
        const char* result;
    } cases[] = {
        {U32(0), "010", "10"},
        {U32(0), "0x10", "16"},
        {U32(0), "  +7", "7"},
        {U32(0), "12\0x"s, "12"},
        {U32(0), "4294967297", "1"},
        {U32(0), "-1", "4294967295"},
        {U32(UINT32_MAX), "4294967295", "4294967295"},
        {U32(5, 7), "5", "5"},
        {U32(5, 7), "7", "7"},
        {U32(0, UINT32_MAX), "0xFFFFFFFF", "4294967295"},
        {I16, "-32768", "-32768"},
        {I16, "-0x10", "-16"},
        {U16(0), "65535", "65535"},
        {U16(255), "255", "255"},
        {I32, "4294967297", "1"},
        {I32, "2147483648", "-2147483648"},
        {I64, "-9223372036854775808", "-9223372036854775808"},
        {U64(0), "18446744073709551615", "18446744073709551615"},
        {IMax, "-5", "-5"},
        {UMax(UINT64_MAX), "0xffffffffffffffff", "18446744073709551615"},
        {Address, "-0x10", "-16"},
        {Address, "0xFFFFFFFFFFFFFFFF", "9223372036854775807"},
        {F, " -1.5e1", "-15.000000"},
        {F, "0x1p-1", "0.500000"},
    };
    for (const auto& c : cases) {
        errno = ERANGE;  // of earlier business
        EXPECT_EQ(c.parse(c.text), c.result) << Prettify(c.text);
    }
    EXPECT_EQ(ParseFloat("1e-40"), 1e-40f);
    EXPECT_TRUE(isinf(ParseFloat("1e40")));
}

TEST(ParseTest, SaysWhyATextIsNoNumber) {
    const struct {
        std::function<std::string(const std::string&)> parse;
        std::string text;
        const char* message;
    } cases[] = {
        {F, "", "Could not convert empty string to float"},
        {I16, "", "Could not convert empty string to int16"},
        {U16(0), "", "Could not convert empty string to uint16"},
        {I32, "", "Could not convert empty string to int32"},
        {U32(0), "", "Could not convert empty string to uint32"},
        {U32(1, 2), "\0001"s, "Could not convert empty string to uint32"},
        {I64, "", "Could not convert empty string to int64"},
        {U64(0), "", "Could not convert empty string to uint64"},
        {IMax, "", "Could not convert empty string to uint64"},
        {UMax(0), "", "Could not convert empty string to uint64"},
        {Address, "", "Could not convert empty string to address"},
        {F, "1.5x", "Could not convert \"1.5x\" to float"},
        {F, " ", "Could not convert \" \" to float"},
        {I16, "-32769", "Could not convert \"-32769\" to int16"},
        {I16, "32768", "Could not convert \"32768\" to int16"},
        {U16(0), "65536", "Could not convert \"65536\" to uint16"},
        {U16(9), "65536", "Could not convert \"65536\" to uint16"},
        {U16(0), "-1", "Could not convert \"-1\" to uint16"},
        {U16(9), "10", "Value \"10\" is not in the range 0..9"},
        {I32, "9223372036854775808", "Could not convert \"9223372036854775808\" to int32"},
        {U32(0), "1 ", "Could not convert \"1 \" to uint32"},
        {U32(0), " ", "Could not convert \" \" to uint32"},
        {U32(0), "0X10", "Could not convert \"0X10\" to uint32"},
        {U32(0), "1f", "Could not convert \"1f\" to uint32"},
        {U32(0), "0x", "Could not convert \"0x\" to uint32"},
        {U32(0), "18446744073709551616", "Could not convert \"18446744073709551616\" to uint32"},
        {U32(255), "-1", "Value \"-1\" is not in the range 0..255"},
        {U32(UINT32_MAX), "0x100000000", "Value \"0x100000000\" is not in the range 0..4294967295"},
        {U32(5, 7), "4", "Value \"4\" is not in the range 5..7"},
        {U32(5, 7), "4294967302", "Value \"4294967302\" is not in the range 5..7"},
        {I64, "9223372036854775808", "Could not convert \"9223372036854775808\" to int64"},
        {U64(9), "10", "Value \"10\" is not in the range 0..9"},
        {U64(0), "x", "Could not convert \"x\" to uint64"},
        {IMax, "x", "Could not convert \"x\" to intmax"},
        {UMax(0), "x", "Could not convert \"x\" to uintmax"},
        {UMax(9), "10", "Value \"10\" is not in the range 0..9"},
        {Address, "10 ", "Could not convert \"10 \" to address"},
        {Address, "%s", "Could not convert \"%s\" to address"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ThrownMessage([&] { c.parse(c.text); }), c.message);
}

TEST(ParseTest, ParsesByteVectors) {
    const Texts texts = {"0", "0xFF", "7"};
    EXPECT_EQ(ParseByteVector(texts.begin(), texts.end()), (std::vector<uint8_t>{0, 255, 7}));
    const Texts bad = {"256"};
    EXPECT_EQ(ThrownMessage([&] { ParseByteVector(bad.begin(), bad.end()); }),
              "Value \"256\" is not in the range 0..255");
}

TEST(ParseTest, FindsListenerAddresses) {
    for (const auto& [text, address] :
         std::initializer_list<std::pair<const char*, const char*>>{{"", "127.0.0.1"},
                                                                    {" \t", "127.0.0.1"},
                                                                    {"*", "0.0.0.0"},
                                                                    {" * ", "0.0.0.0"},
                                                                    {"1.2.3.4", "1.2.3.4"}})
        EXPECT_EQ(ParseIPListenerAddress(text).ToString(), address);
    EXPECT_EQ(ThrownMessage([] { ParseIPListenerAddress(" 1.2.3.4"); }),
              " 1.2.3.4 is not a valid IP address");
    EXPECT_EQ(ThrownMessage([] { ParseIPListenerAddress("**"); }), "** is not a valid IP address");
}

TEST(ParseTest, FindsMACAddresses) {
    const std::vector<uint8_t> expected = {0x00, 0x1B, 0xc5, 0xFF, 0x0A, 0x9f};
    EXPECT_EQ(ParseMACAddress(" 00:1B:c5:FF:0a:9F\n"), expected);
    EXPECT_EQ(ParseMACAddress("00-1B-C5-FF-0A-9F"), expected);
    for (const char* text : {"", "00:1B:C5:FF:0A:9", "00:1B:C5:FF:0A:9FF", "001BC5FF0A9F"})
        EXPECT_TRUE(ParseMACAddress(text).empty()) << text;
    for (const char* text : {"00:1B:C5:FF:0A:9G", "00:1B:C5:FF:0A.9F", "00:1B: 5:FF:0A:9F",
                             "0x:1B:C5:FF:0A:9F", "00:1B:+5:FF:0A:9F"})
        EXPECT_EQ(ThrownMessage([&] { ParseMACAddress(text); }),
                  "Could not convert \"" + std::string(text) + "\" to MAC address");
}

TEST(ParseTest, SplitsCommandLines) {
    const struct {
        const char* text;
        Texts tokens;
    } cases[] = {
        {"", {}},
        {" \t\n", {}},
        {"a \"b c\" \"\"", {"a", "b c", ""}},
        {"  set\tx\v-1  ", {"set", "x", "-1"}},
        {"\"\\\" n", {"\\", "n"}},
        {"caf\xC3\xA9 \"'\"", {"caf\xC3\xA9", "'"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Tokenize(c.text), c.tokens) << c.text;
    for (const char* text : {"a\"b", "x a\"b\"", "a\""})
        EXPECT_EQ(ThrownMessage([&] { Tokenize(text); }), "Double-quote within token");
    for (const char* text : {"\"", "a \"b c"})
        EXPECT_EQ(ThrownMessage([&] { Tokenize(text); }), "Missing closing double-quote");
    for (const char* text : {"\"a\"b", "\"a\"\"b\""})
        EXPECT_EQ(ThrownMessage([&] { Tokenize(text); }),
                  "Extraneous characters following closing double-quote");
}

TEST(ParseTest, SplitsAtDelimiters) {
    EXPECT_EQ(TokenizeDelimited("a,,b,", ','), (Texts{"a", "", "b", ""}));
    EXPECT_EQ(TokenizeDelimited("a", ','), Texts{"a"});
    EXPECT_EQ(TokenizeDelimited(",", ','), (Texts{"", ""}));
    EXPECT_EQ(TokenizeDelimited(" a , b", ','), (Texts{" a ", " b"}));
    EXPECT_EQ(TokenizeDelimited("", ','), Texts{});
}

TEST(ParseTest, DescribesTokenChanges) {
    EXPECT_EQ(DescribeUnorderedTokenChanges({"a", "b", "b"}, {"b", "a", "b"}), "");
    EXPECT_EQ(DescribeUnorderedTokenChanges({"b", "c"}, {"d", "c", "a"}),
              "added \"a\", \"d\"; removed \"b\"");
    EXPECT_EQ(DescribeUnorderedTokenChanges({"x", "x", "y y"}, {"x"}), "removed \"x\", \"y y\"");
    EXPECT_EQ(DescribeUnorderedTokenChanges({}, {""}), "added \"\"");
}

TEST(ParseTest, ParsesSingleRanges) {
    uint32_t first = 77, last = 78;
    for (const char* text : {"", "-", "5-", "-5", "1-2-3", "1--5", "a", "1-b", "1 -2", "4294967296",
                             "0-4294967296", "1-18446744073709551616"})
        EXPECT_FALSE(ParseU32Range(text, &first, &last, '-')) << text;
    EXPECT_EQ(first, 77u);
    EXPECT_EQ(last, 78u);
    EXPECT_TRUE(ParseU32Range("0x10:4294967295", &first, &last, ':'));
    EXPECT_EQ(first, 16u);
    EXPECT_EQ(last, 4294967295u);
    uint8_t firstByte = 7, lastByte = 8;
    EXPECT_FALSE(ParseByteRange("255-256", &firstByte, &lastByte, '-'));
    EXPECT_EQ(firstByte, 7);
    EXPECT_TRUE(ParseByteRange("255", &firstByte, &lastByte, '-'));
    EXPECT_EQ(firstByte, 255);
    EXPECT_EQ(lastByte, 255);
}

TEST(ParseTest, ExpandsRangeLists) {
    const struct {
        const char* text;
        uint32_t maxValue, maxCount;
        std::vector<uint32_t> values;
    } cases[] = {
        {"", 0, 0, {}},
        {"5-3", 0, 10, {5, 4, 3}},
        {"7,1-3,2", 7, 5, {7, 1, 2, 3, 2}},
        {"4294967294-4294967295", 0, 2, {4294967294, 4294967295}},
        {"4294967295-4294967294", UINT32_MAX, 2, {4294967295, 4294967294}},
        {"1-0", 0, 2, {1, 0}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ParseU32RangeList(c.text, c.maxValue, c.maxCount, '-'), c.values) << c.text;

    const struct {
        const char* text;
        uint32_t maxValue, maxCount;
        const char* message;
    } failures[] = {
        {"1,", 0, 9, "Range list is malformed"},
        {"1,,2", 0, 9, "Range list is malformed"},
        {"1:2", 0, 9, "Range list is malformed"},
        {"9", 8, 9, "Range list contains a value larger than 8"},
        {"9-1", 8, 1, "Range list contains a value larger than 8"},
        {"1-9", 8, 1, "Range list contains a value larger than 8"},
        {"5,1-3", 0, 3, "Range list would expand to more than 3 values"},
        {"5,3-1", 0, 3, "Range list would expand to more than 3values"},
        {"0-4294967295", 0, UINT32_MAX, "Range list would expand to more than 4294967295 values"},
        {"4294967295-0", 0, 1, "Range list would expand to more than 1values"},
        {"1", 0, 0, "Range list would expand to more than 0 values"},
    };
    for (const auto& c : failures)
        EXPECT_EQ(ThrownMessage([&] { ParseU32RangeList(c.text, c.maxValue, c.maxCount, '-'); }), c.message);
}

TEST(ParseTest, ReadsAndComparesVersions) {
    EXPECT_EQ(ParseVersionString("1.2"), Version(1, 2, 0, 0));
    EXPECT_EQ(ParseVersionString("1.2u3"), Version(1, 2, 3, 0));
    EXPECT_EQ(ParseVersionString("010.2.3.4294967295"), Version(10, 2, 3, 4294967295));
    for (const char* text : {"", "1", "1.2.3.4.5", "1.2.3.4u5"})
        EXPECT_EQ(ThrownMessage([&] { ParseVersionString(text); }), "Firmware string is malformed");
    EXPECT_EQ(ThrownMessage([] { ParseVersionString("1.2b"); }), "Could not convert \"2b\" to uint32");
    EXPECT_EQ(ThrownMessage([] { ParseVersionString("1."); }), "Could not convert empty string to uint32");
    EXPECT_EQ(ThrownMessage([] { ParseVersionString("1.4294967296"); }),
              "Value \"4294967296\" is not in the range 0..4294967295");
    EXPECT_TRUE(DoesVersionMeetMinimum(Version(1, 2, 0, 0), Version(1, 1, 9, 9)));
    EXPECT_TRUE(DoesVersionMeetMinimum("1.2", "1.2.0.0"));
    EXPECT_FALSE(DoesVersionMeetMinimum("1.9", "1.10"));
}

TEST(ParseTest, WritesBinaryCodedDigits) {
    std::string text;
    for (const uint8_t digit : std::initializer_list<uint8_t>{0, 9, 10, 255})
        text += BCDToASCII(digit);
    EXPECT_EQ(text, "09  ");
}

}  // namespace
}  // namespace quarn
