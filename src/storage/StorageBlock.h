#pragma once

// The format of one saved block. All its own integers are little-endian, unlike those of the messages inside.

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <vector>

namespace quarn {

constexpr uint32_t kBlockHeaderMagic = 0x1D766D74;
constexpr uint32_t kBlockTrailerMagic = 0x0193CAD8;

/// The 24 bytes in front of the payload.
class BlockHeader {
public:
    static constexpr size_t kBytes = 24;

    uint8_t* Bytes() { return bytes_.data(); }
    const uint8_t* Bytes() const { return bytes_.data(); }

    uint32_t Magic() const;
    uint32_t DataVersion() const;
    uint64_t Stamp() const;
    uint32_t PayloadLength() const;
    /// Whether the magic number and the header's checksum, CRC32 of the header with that field 0, are right.
    bool IsValid() const;

private:
    std::array<uint8_t, kBytes> bytes_{};
};

/// The 8 bytes behind the payload.
class BlockTrailer {
public:
    static constexpr size_t kBytes = 8;

    uint8_t* Bytes() { return bytes_.data(); }

    uint32_t Magic() const;
    uint32_t Checksum() const;

private:
    std::array<uint8_t, kBytes> bytes_{};
};

/// The checksum over header, payload and a trailer whose checksum field is 0: three calls of CRC32, each
/// seeded with the result of the one before it. The seed is deliberately not complemented in between, so this
/// is not the CRC32 of the bytes in one piece.
uint32_t BlockChecksum(const uint8_t* header, const uint8_t* payload, size_t payloadLength);

/// Puts a block together in one buffer.
class BlockBuilder {
public:
    BlockBuilder() : block_(BlockHeader::kBytes) {}

    void Append(const uint8_t* message, size_t length);
    /// Pads the payload to a multiple of 4 and closes the block. To be called once.
    const std::vector<uint8_t>& Finish(uint32_t dataVersion, uint64_t stamp);

private:
    std::vector<uint8_t> block_;
};

}  // namespace quarn
