#pragma once

/// The 16-bit checksum of message headers and of the legacy message layouts.
///
///     uint16_t sum = quarn::CRC16::Compute(0, data, length);
///     if (sum != stored)
///         throw quarn::MonitorException("bad checksum 0x%04X", sum);

#include <quarn/Attributes.h>

#include <stddef.h>
#include <stdint.h>

namespace quarn {

class QUARN_API CRC16 {
public:
    /// The register after `length` bytes, starting at the seed. With seed 0 this is CRC-16/KERMIT: reflected
    /// polynomial 0x1021, no final XOR, 0x2189 for "123456789". The result of one call as the seed of the
    /// next continues the sum. `data` may be null when there are no bytes. Never fails; any thread may call
    /// it.
    static uint16_t Compute(uint16_t seed, const uint8_t* data, size_t length);
};

}  // namespace quarn
