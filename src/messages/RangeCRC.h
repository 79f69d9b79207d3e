#pragma once

// The CRC of any part of one stretch of bytes, in logarithmic time. A reader that looks for the next message
// in a backlog full of garbage may meet a plausible header at every byte; summing what each of them announces
// would make it quadratic.

#include <stddef.h>
#include <stdint.h>

#include <vector>

namespace quarn {

struct CRC16Terms {
    using Register = uint16_t;
    static constexpr Register kPolynomial = 0x8408;
    static constexpr Register kStart = 0;
    static Register Continue(Register crc, const uint8_t* data, size_t length);
};

struct CRC32Terms {
    using Register = uint32_t;
    static constexpr Register kPolynomial = 0xEDB88320;
    static constexpr Register kStart = 0xFFFFFFFF;
    static Register Continue(Register crc, const uint8_t* data, size_t length);
};

/// One of the two CRCs: its register every so many bytes, as far as it was asked for.
template <class Terms>
class RangeCRCOf {
public:
    using Register = typename Terms::Register;

    void Reset(const uint8_t* data) {
        data_ = data;
        checkpoints_.assign(1, 0);
    }
    Register Compute(const uint8_t* data, size_t length);

private:
    Register Prefix(size_t length);

    const uint8_t* data_ = nullptr;
    std::vector<Register> checkpoints_;
};

/// Serves DecodeMessage() in place of DirectCRC.
class RangeCRC {
public:
    /// Says where the bytes begin and forgets what is known of others. The bytes that are asked for must stay
    /// as and where they are until the next call; memory is kept.
    void Reset(const uint8_t* data) {
        crc16_.Reset(data);
        crc32_.Reset(data);
    }

    /// What CRC16::Compute() and CRC32::Compute() return with seed 0 for bytes at or behind the beginning,
    /// fewer than 4 GiB.
    uint16_t CRC16Of(const uint8_t* data, size_t length) { return crc16_.Compute(data, length); }
    uint32_t CRC32Of(const uint8_t* data, size_t length) { return crc32_.Compute(data, length); }

private:
    RangeCRCOf<CRC16Terms> crc16_;
    RangeCRCOf<CRC32Terms> crc32_;
};

}  // namespace quarn
