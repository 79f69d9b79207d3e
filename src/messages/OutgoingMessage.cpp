#include <quarn/MonitorException.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/SentenceDetails.h>
#include <quarn/Text.h>
#include <quarn/VariableDetails.h>
#include <quarn/VariantValue.h>

#include "messages/MessageDecoder.h"
#include "messages/SentenceWord.h"
#include "values/BigEndian.h"
#include "values/VariantBlob.h"

#include <string.h>

#include <algorithm>

namespace quarn {
namespace {

// The header is written as a number of 16 bytes.
constexpr size_t kHeaderRoom = 16;

uint32_t CheckedLength(size_t length) {
    if (length > 0xFFFFFFFF)
        throw MonitorException("Attempting to encode a message of ridiculous size");
    return uint32_t(length);
}

VariantBlob BlobOf(const Variant& value) {
    // The debug string is formed when asked for, but a value that cannot have one fails here and in its
    // words.
    if (!Variant::IsTypeValid(value.Type()))
        value.ToString();
    return VariantBlob(value);
}

// The layouts for a kind of message follow one another in ascending order of the width of their length field.
uint8_t FirstSync(bool hasLongTag, bool hasStream) {
    if (hasLongTag)
        return hasStream ? 0xC4 : 0xA4;
    return hasStream ? 0xC1 : 0xA1;
}

}  // namespace

OutgoingMessage::OutgoingMessage(const VariableDetails& details, const Variant& value)
    : payloadStart_(1 + kHeaderRoom), tag_(details.GetTag()), isSentence_(false) {
    const VariantBlob blob = BlobOf(value);
    payloadSize_ = blob.Size();
    uint8_t* const buffer = Room(payloadStart_ + payloadSize_ + kGlobalTrailer);
    buffer[0] = uint8_t(value.Type());
    blob.Write(buffer + payloadStart_);
    Encode();
}

OutgoingMessage::OutgoingMessage(const SentenceDetails& details, const std::vector<VariantValue>& words)
    : payloadStart_(words.size() + kHeaderRoom), tag_(details.GetTag()), isSentence_(true) {
    size_t used = payloadStart_;
    uint8_t* buffer = Room(used + kGlobalTrailer);
    size_t index = 0;
    for (const VariantValue& word : words) {
        const VariantBlob blob = BlobOf(word);
        const uint32_t length = CheckedLength(blob.Size());
        const size_t start = used + kWordHeader;
        used = start + length;
        buffer = Room(used + kGlobalTrailer);
        buffer[index++] = uint8_t(word.Type());
        buffer[start - kWordHeader] = kWordSync;
        StoreBigEndian(buffer + start - 4, length);
        blob.Write(buffer + start);
    }
    payloadSize_ = used - payloadStart_;
    Encode();
}

// Makes the buffer at least this large and returns it.
uint8_t* OutgoingMessage::Room(size_t size) {
    if (size > std::max(sizeof small_, large_.size())) {
        const bool wasSmall = large_.empty();
        large_.resize(std::max(size, 2 * large_.size()));
        if (wasSmall)
            memcpy(large_.data(), small_, sizeof small_);
    }
    return Buffer();
}

void OutgoingMessage::SetStream(uint8_t stream) {
    stream_ = stream;
    Encode();
}

void OutgoingMessage::Encode() {
    uint8_t sync = FirstSync(tag_ > 0xFFFF, stream_ != 0);
    const size_t trailer = kMessageLayouts[sync].isLegacy ? kLegacyTrailer : kGlobalTrailer;
    const auto total = [&] { return kMessageLayouts[sync].headerSize + payloadSize_ + trailer; };
    while (kMessageLayouts[sync].lengthWidth < 4 && total() >> (8 * kMessageLayouts[sync].lengthWidth) != 0)
        ++sync;
    const MessageLayout& layout = kMessageLayouts[sync];
    const uint32_t size = CheckedLength(total());

    // The header goes out in two wide stores: a CRC that loads what narrower ones have just written waits for
    // them to reach the cache.
    uint64_t front = uint64_t{sync} << (8 * layout.lengthWidth) | size;
    if (layout.hasStream)
        front = front << 8 | stream_;
    const int tagShift = layout.isLegacy ? 0 : 16;
    const int frontShift = 8 * layout.tagWidth + tagShift;
    uint8_t* const payload = Buffer() + payloadStart_;
    StoreBigEndian<uint64_t>(payload - 16, front >> (64 - frontShift));
    StoreBigEndian<uint64_t>(payload - 8, front << frontShift | uint64_t{tag_} << tagShift);

    start_ = payloadStart_ - layout.headerSize;
    size_ = size;
    uint8_t* const message = payload - layout.headerSize;
    uint8_t* const end = payload + payloadSize_;
    const size_t covered = size_ - trailer;
    if (layout.isLegacy) {
        StoreBigEndian<uint16_t>(end, CRC16::Compute(0, message, covered));
    } else {
        StoreBigEndian<uint16_t>(payload - 2, CRC16::Compute(0, message, layout.headerSize - size_t{2}));
        StoreBigEndian<uint32_t>(end, CRC32::Compute(0, message, covered));
    }
}

std::string OutgoingMessage::ToString() const {
    return FormatHexBytesUnprefixedSeparated(Sync(), Bytes(), " ");
}

std::string OutgoingMessage::GetDebugString() const {
    const uint8_t* type = Buffer();
    const uint8_t* position = Buffer() + payloadStart_;
    VariantValue value;
    if (!isSentence_) {
        value.FromBlob(VariantType(*type), position, payloadSize_);
        return value.ToString();
    }
    std::string text;
    for (const uint8_t* const end = position + payloadSize_; position < end; ++type) {
        const size_t length = LoadBigEndian<uint32_t>(position + 1);
        position += kWordHeader;
        value.FromBlob(VariantType(*type), position, length);
        // Leading empty words deliberately leave no blanks.
        if (!text.empty())
            text += ' ';
        text += value.ToString();
        position += length;
    }
    return text;
}

uint8_t OutgoingMessage::GetNOP() {
    return kMessageNOP;
}

}  // namespace quarn
