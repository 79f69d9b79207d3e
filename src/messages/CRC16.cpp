#include <quarn/CRC16.h>

#include "messages/CRCEngine.h"

namespace quarn {

uint16_t CRC16::Compute(uint16_t seed, const uint8_t* data, size_t length) {
    // Most calls are for a header of at most ten bytes.
    return length <= 10 ? CRC16Engine::Short(seed, data, length) : CRC16Engine::Update(seed, data, length);
}

}  // namespace quarn
