#pragma once

// Big-endian numbers in byte buffers, of any alignment and on any host.

#include <stddef.h>
#include <stdint.h>

namespace quarn {

inline uint16_t ReadBigEndian16(const uint8_t* data) {
    return uint16_t(data[0] << 8 | data[1]);
}

inline uint32_t ReadBigEndian32(const uint8_t* data) {
    return uint32_t{data[0]} << 24 | uint32_t{data[1]} << 16 | uint32_t{data[2]} << 8 | data[3];
}

/// Reads 1, 2 or 4 bytes.
inline uint32_t ReadBigEndian(const uint8_t* data, size_t width) {
    return width == 1 ? data[0] : width == 2 ? ReadBigEndian16(data) : ReadBigEndian32(data);
}

inline void WriteBigEndian16(uint8_t* data, uint16_t value) {
    data[0] = uint8_t(value >> 8);
    data[1] = uint8_t(value);
}

inline void WriteBigEndian32(uint8_t* data, uint32_t value) {
    data[0] = uint8_t(value >> 24);
    data[1] = uint8_t(value >> 16);
    data[2] = uint8_t(value >> 8);
    data[3] = uint8_t(value);
}

/// Writes 1, 2 or 4 bytes, into which the value fits.
inline void WriteBigEndian(uint8_t* data, size_t width, uint32_t value) {
    if (width == 1)
        data[0] = uint8_t(value);
    else if (width == 2)
        WriteBigEndian16(data, uint16_t(value));
    else
        WriteBigEndian32(data, value);
}

}  // namespace quarn
