#pragma once

/// The 32-bit checksum that closes a message.
///
///     uint32_t sum = quarn::CRC32::Compute(0, data, length);
///     if (sum != stored)
///         throw quarn::MonitorException("bad checksum 0x%08X", sum);

#include <quarn/Attributes.h>

#include <stddef.h>
#include <stdint.h>

namespace quarn {

class QUARN_API CRC32 {
public:
    /// The register after `length` bytes, starting at the complement of the seed and deliberately without a
    /// final complement. With seed 0 this is CRC-32/JAMCRC: reflected polynomial 0x04C11DB7, 0x340BC6D9 for
    /// "123456789", the complement of the common CRC-32. The complement of one call's result as the seed of
    /// the next continues the sum. `data` may be null when there are no bytes. Never fails; any thread may
    /// call it.
    static uint32_t Compute(uint32_t seed, const uint8_t* data, size_t length);
};

}  // namespace quarn
