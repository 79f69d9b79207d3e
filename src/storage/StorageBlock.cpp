#include "storage/StorageBlock.h"

#include <quarn/CRC32.h>
#include <quarn/OutgoingMessage.h>

#include <algorithm>

namespace quarn {

namespace {

constexpr size_t kMagicAt = 0;
constexpr size_t kVersionAt = 4;
constexpr size_t kStampAt = 8;
constexpr size_t kLengthAt = 16;
constexpr size_t kHeaderChecksumAt = 20;
constexpr size_t kTrailerChecksumAt = 0;
constexpr size_t kTrailerMagicAt = 4;

uint64_t ReadLittleEndian(const uint8_t* data, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i)
        value |= uint64_t{data[i]} << 8 * i;
    return value;
}

void WriteLittleEndian(uint8_t* data, size_t width, uint64_t value) {
    for (size_t i = 0; i < width; ++i)
        data[i] = uint8_t(value >> 8 * i);
}

uint32_t Read32At(const uint8_t* data) {
    return uint32_t(ReadLittleEndian(data, 4));
}

uint32_t HeaderChecksum(const uint8_t* header) {
    std::array<uint8_t, BlockHeader::kBytes> blanked;
    std::copy_n(header, blanked.size(), blanked.data());
    WriteLittleEndian(blanked.data() + kHeaderChecksumAt, 4, 0);
    return CRC32::Compute(0, blanked.data(), blanked.size());
}

}  // namespace

uint32_t BlockHeader::Magic() const {
    return Read32At(Bytes() + kMagicAt);
}

uint32_t BlockHeader::DataVersion() const {
    return Read32At(Bytes() + kVersionAt);
}

uint64_t BlockHeader::Stamp() const {
    return ReadLittleEndian(Bytes() + kStampAt, 8);
}

uint32_t BlockHeader::PayloadLength() const {
    return Read32At(Bytes() + kLengthAt);
}

bool BlockHeader::IsValid() const {
    return Magic() == kBlockHeaderMagic && Read32At(Bytes() + kHeaderChecksumAt) == HeaderChecksum(Bytes());
}

uint32_t BlockTrailer::Magic() const {
    return Read32At(bytes_.data() + kTrailerMagicAt);
}

uint32_t BlockTrailer::Checksum() const {
    return Read32At(bytes_.data() + kTrailerChecksumAt);
}

uint32_t BlockChecksum(const uint8_t* header, const uint8_t* payload, size_t payloadLength) {
    std::array<uint8_t, BlockTrailer::kBytes> trailer{};
    WriteLittleEndian(trailer.data() + kTrailerMagicAt, 4, kBlockTrailerMagic);
    const uint32_t ofHeader = CRC32::Compute(0, header, BlockHeader::kBytes);
    const uint32_t ofPayload = CRC32::Compute(ofHeader, payload, payloadLength);
    return CRC32::Compute(ofPayload, trailer.data(), trailer.size());
}

void BlockBuilder::Append(const uint8_t* message, size_t length) {
    block_.insert(block_.end(), message, message + length);
}

const std::vector<uint8_t>& BlockBuilder::Finish(uint32_t dataVersion, uint64_t stamp) {
    while (block_.size() % 4 != 0)
        block_.push_back(OutgoingMessage::GetNOP());
    const size_t payloadLength = block_.size() - BlockHeader::kBytes;
    block_.resize(block_.size() + BlockTrailer::kBytes);

    uint8_t* header = block_.data();
    WriteLittleEndian(header + kMagicAt, 4, kBlockHeaderMagic);
    WriteLittleEndian(header + kVersionAt, 4, dataVersion);
    WriteLittleEndian(header + kStampAt, 8, stamp);
    WriteLittleEndian(header + kLengthAt, 4, payloadLength);
    WriteLittleEndian(header + kHeaderChecksumAt, 4, HeaderChecksum(header));

    const uint8_t* payload = header + BlockHeader::kBytes;
    uint8_t* trailer = header + BlockHeader::kBytes + payloadLength;
    WriteLittleEndian(trailer + kTrailerMagicAt, 4, kBlockTrailerMagic);
    WriteLittleEndian(trailer + kTrailerChecksumAt, 4, BlockChecksum(header, payload, payloadLength));
    return block_;
}

}  // namespace quarn
