#pragma once

#include "fuzz/Fuzz.h"
#include "messages/MessageDecoder.h"

namespace quarn::test {

/// Gives whatever looks like a message good checksums: fuzzers find headers and lengths, but hardly ever a CRC.
inline void RepairMessages(Bytes& bytes, size_t from, size_t end) {
    const auto store = [&bytes](size_t at, size_t width, uint32_t value) {
        for (size_t i = 0; i < width; ++i)
            bytes[at + i] = uint8_t(value >> 8 * (width - 1 - i));
    };
    for (size_t at = from; at < end;) {
        const uint8_t* const start = bytes.data() + at;
        const MessageLayout& layout = kMessageLayouts[*start];
        const size_t trailer = layout.isLegacy ? kLegacyTrailer : kGlobalTrailer;
        size_t total = 0;
        if (layout.headerSize != 0 && end - at >= layout.headerSize)
            total = ReadField(start + 1, layout.lengthWidth);
        if (total < layout.headerSize + trailer || total > end - at) {
            ++at;
            continue;
        }
        const size_t header = layout.headerSize;
        if (layout.isLegacy) {
            store(at + total - 2, 2, CRC16::Compute(0, start, total - 2));
        } else {
            store(at + header - 2, 2, CRC16::Compute(0, start, header - 2));
            store(at + total - 4, 4, CRC32::Compute(0, start, total - 4));
        }
        at += total;
    }
}

}  // namespace quarn::test
