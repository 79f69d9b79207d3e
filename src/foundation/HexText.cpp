#include <quarn/Text.h>

#include <ctype.h>

#include <algorithm>
#include <bit>
#include <string_view>

namespace quarn {

namespace {

// Writes the low `digits` hexadecimal digits and returns the place behind them.
inline char* PutHex(char* at, uint32_t value, size_t digits) {
    for (size_t i = digits; i-- > 0; value >>= 4)
        at[i] = "0123456789ABCDEF"[value & 0xF];
    return at + digits;
}

inline char* PutText(char* at, std::string_view text) {
    for (const char c : text)
        *at++ = c;
    return at;
}

// Every item with the prefix and all the digits of its type, the separator between items.
template <class Item>
std::string HexItems(const Item* items, size_t count, std::string_view prefix, std::string_view separator) {
    constexpr size_t digits = 2 * sizeof(Item);
    std::string text;
    if (count == 0)
        return text;
    text.resize(count * (prefix.size() + digits + separator.size()) - separator.size());
    char* at = text.data();
    for (size_t i = 0; i < count; ++i) {
        if (i != 0)
            at = PutText(at, separator);
        at = PutHex(PutText(at, prefix), items[i], digits);
    }
    return text;
}

template <class Value>
std::string Bits(Value value) {
    constexpr size_t bits = 8 * sizeof(Value);
    std::string text(bits, '0');
    for (size_t i = 0; i < bits; ++i)
        if ((value >> (bits - 1 - i)) & 1)
            text[i] = '1';
    return text;
}

}  // namespace

std::string FormatHexU32(uint32_t value, uint32_t bits) {
    const size_t needed = std::max<size_t>(1, (std::bit_width(value) + 3u) / 4);
    const size_t wanted = (uint64_t{bits} + 3) / 4;
    std::string text = "0x";
    if (wanted > needed)
        text.append(wanted - needed, '0');
    char digits[8];
    return text.append(digits, PutHex(digits, value, needed));
}

std::string FormatHTMLColor(uint32_t rgb) {
    char text[7] = {'#'};
    return std::string(text, PutHex(text + 1, rgb, 6));
}

std::string FormatBits(uint64_t value) {
    return Bits(value);
}

std::string FormatBits(uint32_t value) {
    return Bits(value);
}

std::string FormatBits(uint16_t value) {
    return Bits(value);
}

std::string FormatBits(uint8_t value) {
    return Bits(value);
}

std::string FormatHexBytes(const uint8_t* data, size_t count) {
    return HexItems(data, count, "0x", " ");
}

std::string FormatHexByteVector(const std::vector<uint8_t>& data) {
    return FormatHexBytes(data.data(), data.size());
}

std::string FormatHexCharVector(const std::vector<char>& data) {
    return FormatHexBytes(reinterpret_cast<const uint8_t*>(data.data()), data.size());
}

std::string FormatHexBytesUnprefixed(const uint8_t* data, size_t count) {
    return HexItems(data, count, "", "");
}

std::string FormatHexBytesUnprefixedSeparated(const uint8_t* data, size_t count,
                                              const std::string& separator) {
    return HexItems(data, count, "", separator);
}

std::string FormatHexByteVectorUnprefixedSeparated(const std::vector<uint8_t>& data,
                                                   const std::string& separator) {
    return HexItems(data.data(), data.size(), "", separator);
}

std::string FormatHexQuads(const uint32_t* words, size_t count) {
    return HexItems(words, count, "0x", " ");
}

std::string FormatHexQuadVector(const std::vector<uint32_t>& words) {
    return FormatHexQuads(words.data(), words.size());
}

std::string FormatHexByteVectorHexdumpC(const std::vector<uint8_t>& data, size_t width) {
    if (width == 0)
        width = 16;
    std::string text;
    for (size_t start = 0; start < data.size(); start += std::min(width, data.size() - start)) {
        const size_t count = std::min(width, data.size() - start);
        if (start != 0)
            text += '\n';
        text += HexItems(&data[start], count, "", " ");
        text.append(3 * (width - count), ' ').append(" | ");
        for (size_t i = start; i < start + count; ++i)
            text += isprint(data[i]) ? static_cast<char>(data[i]) : '.';
    }
    return text;
}

}  // namespace quarn
