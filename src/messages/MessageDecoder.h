#pragma once

// Finds out whether a message starts at some byte, without throwing or building text: the one decoder behind
// IncomingMessage::Populate() and the message terminal.

#include <quarn/CRC16.h>
#include <quarn/CRC32.h>

#include "values/BigEndian.h"

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <string>

namespace quarn {

class IncomingMessage;

enum class DecodeStatus : uint8_t {
    COMPLETE,
    INCOMPLETE,  ///< more bytes are needed to tell
    INVALID_SYNC,
    HEADER_MISMATCH,
    TOO_SHORT_FOR_GLOBAL,
    GLOBAL_MISMATCH,
    TOO_SHORT_FOR_LEGACY,
    LEGACY_MISMATCH,
};

/// What the decoder found. Sizes, tag and stream are those of the header as soon as there is a whole one, and
/// 0 before; they are to be trusted only when the status is COMPLETE.
struct DecodedMessage {
    DecodeStatus status = DecodeStatus::INCOMPLETE;
    uint8_t stream = 0;
    uint8_t headerSize = 0;
    uint32_t tag = 0;
    size_t totalSize = 0;
    size_t payloadSize = 0;
};

/// The NOP byte.
constexpr uint8_t kMessageNOP = 0xA0;

constexpr size_t kLegacyTrailer = 2;
constexpr size_t kGlobalTrailer = 4;

/// How a sync byte lays out the header that it begins.
struct MessageLayout {
    uint8_t headerSize;   ///< 0 for a byte that is no sync byte
    uint8_t lengthWidth;  ///< 1, 2 or 4
    uint8_t tagOffset;
    uint8_t tagWidth;  ///< 2 or 4
    bool hasStream;    ///< the byte before the tag
    bool isLegacy;     ///< no header CRC; the trailing CRC is a CRC16
};

constexpr std::array<MessageLayout, 256> MakeMessageLayouts() {
    std::array<MessageLayout, 256> layouts{};
    const auto addThree = [&](uint8_t firstSync, bool hasStream, uint8_t tagWidth, bool isLegacy) {
        for (uint8_t i = 0; i < 3; ++i) {
            const uint8_t lengthWidth = uint8_t(1 << i);
            const uint8_t tagOffset = uint8_t(1 + lengthWidth + hasStream);
            layouts[size_t{firstSync} + i] = {uint8_t(tagOffset + tagWidth + (isLegacy ? 0 : 2)),
                                              lengthWidth,
                                              tagOffset,
                                              tagWidth,
                                              hasStream,
                                              isLegacy};
        }
    };
    addThree(0xA1, false, 2, true);
    addThree(0xA4, false, 4, false);
    addThree(0xAA, false, 2, false);
    addThree(0xC1, true, 2, false);
    addThree(0xC4, true, 4, false);
    return layouts;
}

inline constexpr std::array<MessageLayout, 256> kMessageLayouts = MakeMessageLayouts();

/// The trailing checksums as the decoder asks for them: of a message's bytes, from its sync byte on. A reader
/// that tries many starts within the same bytes passes a RangeCRC instead.
struct DirectCRC {
    uint16_t CRC16Of(const uint8_t* data, size_t length) const { return CRC16::Compute(0, data, length); }
    uint32_t CRC32Of(const uint8_t* data, size_t length) const { return CRC32::Compute(0, data, length); }
};

/// Reads a number of 1, 2 or 4 bytes.
inline uint32_t ReadField(const uint8_t* data, size_t width) {
    return width == 1 ? *data : width == 2 ? LoadBigEndian<uint16_t>(data) : LoadBigEndian<uint32_t>(data);
}

/// Decodes the message that starts at `data`.
template <class TrailingCRC>
DecodedMessage DecodeMessage(const uint8_t* data, size_t available, TrailingCRC&& trailingCRC) {
    DecodedMessage found;
    const auto finish = [&found](DecodeStatus status) {
        found.status = status;
        return found;
    };
    if (available == 0)
        return found;
    const MessageLayout& layout = kMessageLayouts[data[0]];
    if (layout.headerSize == 0)
        return finish(DecodeStatus::INVALID_SYNC);
    const size_t headerSize = layout.headerSize;
    if (available < headerSize)
        return found;

    found.headerSize = layout.headerSize;
    found.totalSize = ReadField(data + 1, layout.lengthWidth);
    found.tag = ReadField(data + layout.tagOffset, layout.tagWidth);
    if (layout.hasStream)
        found.stream = data[layout.tagOffset - 1];
    const size_t total = found.totalSize;

    // Nothing tells a wrong legacy length from a right one before all of it has arrived: that order is part
    // of the protocol, and so is reporting a broken header early in the other layouts.
    if (layout.isLegacy) {
        if (available < total)
            return found;
        if (total < headerSize + kLegacyTrailer)
            return finish(DecodeStatus::TOO_SHORT_FOR_LEGACY);
        const size_t covered = total - kLegacyTrailer;
        if (trailingCRC.CRC16Of(data, covered) != LoadBigEndian<uint16_t>(data + covered))
            return finish(DecodeStatus::LEGACY_MISMATCH);
        found.payloadSize = covered - headerSize;
        return finish(DecodeStatus::COMPLETE);
    }
    if (CRC16::Compute(0, data, headerSize - 2) != LoadBigEndian<uint16_t>(data + headerSize - 2))
        return finish(DecodeStatus::HEADER_MISMATCH);
    if (available < total)
        return found;
    if (total < headerSize + kGlobalTrailer)
        return finish(DecodeStatus::TOO_SHORT_FOR_GLOBAL);
    const size_t covered = total - kGlobalTrailer;
    if (trailingCRC.CRC32Of(data, covered) != LoadBigEndian<uint32_t>(data + covered))
        return finish(DecodeStatus::GLOBAL_MISMATCH);
    found.payloadSize = covered - headerSize;
    return finish(DecodeStatus::COMPLETE);
}

/// The message of the exception that Populate() throws for this status and first byte. Not for COMPLETE and
/// INCOMPLETE.
std::string DescribeDecodeFailure(DecodeStatus status, uint8_t firstByte);

/// A way into IncomingMessage for a reader that has decoded already.
struct CheckedMessage {
    /// Makes `message` hold the message at `data`, for which DecodeMessage() returned `found` with COMPLETE.
    static void Store(IncomingMessage& message, const uint8_t* data, const DecodedMessage& found);
    /// Makes `message` empty, as Populate() does before it decodes.
    static void Clear(IncomingMessage& message);
};

}  // namespace quarn
