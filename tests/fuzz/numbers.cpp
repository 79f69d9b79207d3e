// Numbers, ranges, addresses and versions: byte 0 is the range character, bytes 1 and 2 are limits.

#include <quarn/Parse.h>
#include <quarn/Text.h>

#include "fuzz/Fuzz.h"

#include <optional>

namespace quarn::test {
namespace {

/// What the call returns, nothing when it throws.
template <class Call>
auto Result(Call&& call) {
    std::optional<decltype(call())> result;
    Failure([&] { result = call(); });
    return result;
}

void CheckNumbers(const std::string& text, uint16_t limit) {
    const auto i64 = Result([&] { return ParseI64(text); });
    const auto i32 = Result([&] { return ParseI32(text); });
    const auto i16 = Result([&] { return ParseI16(text); });
    Require(i32 ? i64 && *i32 == int32_t(*i64) : !i64, "int32 is not the low half of int64");
    Require(i16 ? i64 && *i16 == *i64 : !i64 || *i64 != int16_t(*i64), "int16 is not int64 within its range");
    const auto u64 = Result([&] { return ParseU64(text, 0); });
    const auto u16 = Result([&] { return ParseU16(text, limit); });
    const bool isWithin = u64 && *u64 <= (limit ? limit : UINT16_MAX);
    Require(u16 ? isWithin && *u16 == *u64 : !isWithin, "uint16 is not uint64 within its range");
    const auto real = Result([&] { return ParseFloat(text); });
    if (real && *real == *real)
        Require(ParseFloat(Format("%a", double{*real})) == *real, "a float is not what its text says");
}

void CheckRanges(const std::string& text, char rangeChar, uint8_t maxValue, uint8_t maxCount) {
    uint8_t byteFirst = 1, byteLast = 2;
    uint32_t first = 1, last = 2;
    const bool isRange = ParseU32Range(text, &first, &last, rangeChar);
    if (ParseByteRange(text, &byteFirst, &byteLast, rangeChar))
        Require(isRange && byteFirst == first && byteLast == last, "two kinds of range differ");
    else
        Require(byteFirst == 1 && byteLast == 2 && !(isRange && first < 256 && last < 256),
                "no range of bytes");

    const auto values = Result([&] { return ParseU32RangeList(text, maxValue, maxCount, rangeChar); });
    if (!values)
        return;
    Require(values->size() <= maxCount, "too many values");
    for (const uint32_t value : *values)
        Require(maxValue == 0 || value <= maxValue, "too large a value");
}

}  // namespace

void CheckInput(Input& input) {
    const char rangeChar = char(input.Byte());
    const uint8_t maxValue = input.Byte(), maxCount = input.Byte();
    const std::string text = input.Text();
    CheckNumbers(text, uint16_t(maxValue << 8 | maxCount));
    CheckRanges(text, rangeChar, maxValue, maxCount);
    if (const auto address = Result([&] { return IPAddress(text); }))
        Require(address->ToString() == text, "an address is not what its text says");
    const auto mac = Result([&] { return ParseMACAddress(text); });
    Require(!mac || mac->empty() || mac->size() == 6, "a MAC address of another length");
    if (const auto version = Result([&] { return ParseVersionString(text); })) {
        const auto [a, b, c, d] = *version;
        Require(ParseVersionString(Format("%u.%u.%u.%u", a, b, c, d)) == *version,
                "a version is not what its text says");
    }
}

}  // namespace quarn::test
