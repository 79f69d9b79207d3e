#pragma once

// Numbers as big-endian bytes, floats by their bit pattern, at any alignment and on any host.

#include <stdint.h>
#include <string.h>

#include <bit>
#include <type_traits>

namespace quarn {

template <size_t size>
using UnsignedOfSize = std::conditional_t<
    size == 1, uint8_t,
    std::conditional_t<size == 2, uint16_t, std::conditional_t<size == 4, uint32_t, uint64_t>>>;

template <class Bits>
constexpr Bits SwapToBigEndian(Bits bits) {
    static_assert(std::is_unsigned_v<Bits>);
    if constexpr (std::endian::native == std::endian::big || sizeof(Bits) == 1)
        return bits;
    else if constexpr (sizeof(Bits) == 2)
        return __builtin_bswap16(bits);
    else if constexpr (sizeof(Bits) == 4)
        return __builtin_bswap32(bits);
    else
        return __builtin_bswap64(bits);
}

template <class Number>
Number LoadBigEndian(const uint8_t* data) {
    UnsignedOfSize<sizeof(Number)> bits;
    memcpy(&bits, data, sizeof bits);
    return std::bit_cast<Number>(SwapToBigEndian(bits));
}

template <class Number>
void StoreBigEndian(uint8_t* data, Number value) {
    const auto bits = SwapToBigEndian(std::bit_cast<UnsignedOfSize<sizeof(Number)>>(value));
    memcpy(data, &bits, sizeof bits);
}

}  // namespace quarn
