#include <quarn/CRC16.h>

#include "messages/CRCEngine.h"

namespace quarn {

uint16_t CRC16::Compute(uint16_t seed, const uint8_t* data, size_t length) {
    return CRC16Engine::Update(seed, data, length);
}

}  // namespace quarn
