#pragma once

#include <quarn/SLIPConstants.h>

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace quarn {

constexpr size_t kDefaultSLIPBacklog = 0x40000;

/// The first END or ESC in [from, to), or `to`. Looks at eight bytes a step: about one byte in a hundred of
/// random data is one of the two.
inline const uint8_t* FindSLIPSpecial(const uint8_t* from, const uint8_t* to) {
    constexpr uint64_t kOnes = 0x0101010101010101;
    // Whether a byte of the word is zero (exact as a yes or no, though not about which one).
    const auto hasZero = [](uint64_t word) { return (word - kOnes) & ~word & (kOnes << 7); };
    while (to - from >= 8) {
        uint64_t word;
        memcpy(&word, from, sizeof word);
        if (hasZero(word ^ kOnes * SLIPConstants::END) | hasZero(word ^ kOnes * SLIPConstants::ESC))
            break;
        from += 8;
    }
    while (from != to && *from != SLIPConstants::END && *from != SLIPConstants::ESC)
        ++from;
    return from;
}

}  // namespace quarn
