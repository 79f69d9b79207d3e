#pragma once

#include "fuzz/Fuzz.h"
#include "messages/MessageDecoder.h"

namespace quarn::test {

/// Gives whatever looks like a message good checksums: fuzzers find headers and lengths, but hardly ever a CRC.
inline void RepairMessages(uint8_t* at, const uint8_t* end) {
    while (at < end) {
        const MessageLayout& layout = kMessageLayouts[*at];
        const size_t left = size_t(end - at), header = layout.headerSize;
        const size_t trailer = layout.isLegacy ? kLegacyTrailer : kGlobalTrailer;
        const size_t total = header == 0 || left < header ? 0 : ReadField(at + 1, layout.lengthWidth);
        if (total < header + trailer || total > left) {
            ++at;
            continue;
        }
        if (layout.isLegacy) {
            StoreBigEndian(at + total - 2, CRC16::Compute(0, at, total - 2));
        } else {
            StoreBigEndian(at + header - 2, CRC16::Compute(0, at, header - 2));
            StoreBigEndian(at + total - 4, CRC32::Compute(0, at, total - 4));
        }
        at += total;
    }
}

}  // namespace quarn::test
