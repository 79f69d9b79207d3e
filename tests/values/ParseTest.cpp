#include <quarn/Parse.h>
#include <quarn/Text.h>

#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <math.h>

#include <functional>

namespace quarn::test {
namespace {

using namespace std::string_literals;
using Texts = std::vector<std::string>;

using Parser = std::function<std::string(const std::string&)>;

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
    const std::tuple<Parser, std::string, const char*> cases[] = {
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
    for (const auto& [parse, text, result] : cases) {
        errno = ERANGE;  // of earlier business
        EXPECT_EQ(parse(text), result) << Prettify(text);
    }
    EXPECT_EQ(ParseFloat("1e-40"), 1e-40f);
    EXPECT_TRUE(isinf(ParseFloat("1e40")));
}

TEST(ParseTest, SaysWhyATextIsNoNumber) {
    const std::tuple<Parser, const char*, Texts> unconverted[] = {
        {F, "float", {"", "1.5x", " "}},
        {I16, "int16", {"", "-32769", "32768"}},
        {U16(0), "uint16", {"", "65536", "-1"}},
        {U16(9), "uint16", {"65536"}},
        {I32, "int32", {"", "9223372036854775808"}},
        {U32(0), "uint32", {"", "1 ", " ", "0X10", "1f", "0x", "18446744073709551616"}},
        {I64, "int64", {"", "9223372036854775808"}},
        {U64(0), "uint64", {"", "x"}},
        {IMax, "intmax", {"x"}},
        {UMax(0), "uintmax", {"x"}},
        {Address, "address", {"", "10 ", "%s"}},
        {IMax, "uint64", {""}},
        {UMax(0), "uint64", {""}},
    };
    for (const auto& [parse, type, texts] : unconverted)
        for (const std::string& text : texts)
            EXPECT_EQ(
                ThrownMessage([&, use = parse] { use(text); }),
                "Could not convert " + (text.empty() ? "empty string" : '"' + text + '"') + " to " + type);
    const std::tuple<Parser, std::string, const char*> outside[] = {
        {U16(9), "10", "0..9"},
        {U32(255), "-1", "0..255"},
        {U32(UINT32_MAX), "0x100000000", "0..4294967295"},
        {U32(5, 7), "4", "5..7"},
        {U32(5, 7), "4294967302", "5..7"},
        {U64(9), "10", "0..9"},
        {UMax(9), "10", "0..9"},
    };
    for (const auto& [parse, text, range] : outside)
        EXPECT_EQ(ThrownMessage([&, use = parse, bad = text] { use(bad); }),
                  "Value \"" + text + "\" is not in the range " + range);
    EXPECT_EQ(ThrownMessage([] { ParseU32("\0001"s, 1, 2); }), "Could not convert empty string to uint32");
}

TEST(ParseTest, ParsesByteVectors) {
    const Texts texts = {"0", "0xFF", "7", "256"};
    EXPECT_EQ(ParseByteVector(texts.begin(), texts.end() - 1), (std::vector<uint8_t>{0, 255, 7}));
    EXPECT_EQ(ThrownMessage([&] { ParseByteVector(texts.begin(), texts.end()); }),
              "Value \"256\" is not in the range 0..255");
}

TEST(ParseTest, FindsListenerAddresses) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "127.0.0.1"}, {" \t", "127.0.0.1"}, {" * ", "0.0.0.0"}, {"1.2.3.4", "1.2.3.4"}};
    for (const auto& [text, address] : cases)
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
    const std::pair<const char*, Texts> cases[] = {
        {"", {}},
        {" \t\n", {}},
        {"a \"b c\" \"\"", {"a", "b c", ""}},
        {"  set\tx\v-1  ", {"set", "x", "-1"}},
        {"\"\\\" n", {"\\", "n"}},
        {"caf\xC3\xA9 \"'\"", {"caf\xC3\xA9", "'"}},
    };
    for (const auto& [text, tokens] : cases)
        EXPECT_EQ(Tokenize(text), tokens) << text;
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
    for (const char* text : {"", "-", "5-", "-5", "1-2-3", "1--5", "1--18446744073709551615", "a", "1-b",
                             "1 -2", "4294967296", "0-4294967296", "1-18446744073709551616"})
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
    const std::tuple<const char*, uint32_t, uint32_t, std::vector<uint32_t>> cases[] = {
        {"", 0, 0, {}},
        {"5-3", 0, 10, {5, 4, 3}},
        {"7,1-3,2", 7, 5, {7, 1, 2, 3, 2}},
        {"4294967294-4294967295", 0, 2, {4294967294, 4294967295}},
        {"4294967295-4294967294", UINT32_MAX, 2, {4294967295, 4294967294}},
        {"1-0", 0, 2, {1, 0}},
    };
    for (const auto& [text, maxValue, maxCount, values] : cases)
        EXPECT_EQ(ParseU32RangeList(text, maxValue, maxCount, '-'), values) << text;

    const std::tuple<const char*, uint32_t, uint32_t, const char*> failures[] = {
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
    for (const auto& [text, maxValue, maxCount, message] : failures)
        EXPECT_EQ(
            ThrownMessage([&, t = text, v = maxValue, c = maxCount] { ParseU32RangeList(t, v, c, '-'); }),
            message);
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
}  // namespace quarn::test
