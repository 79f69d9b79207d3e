#include <quarn/CRC32.h>

#ifdef __ARM_FEATURE_CRC32
#include <arm_acle.h>
#include <string.h>
#else
#include "messages/CRCEngine.h"
#endif

namespace quarn {
namespace {

#ifdef __ARM_FEATURE_CRC32

uint32_t Update(uint32_t crc, const uint8_t* data, size_t length) {
    for (; length >= 8; data += 8, length -= 8) {
        uint64_t word;
        memcpy(&word, data, sizeof word);
#ifdef __ARM_BIG_ENDIAN
        word = __builtin_bswap64(word);
#endif
        crc = __crc32d(crc, word);
    }
    for (; length > 0; ++data, --length)
        crc = __crc32b(crc, *data);
    return crc;
}

#else

uint32_t Update(uint32_t crc, const uint8_t* data, size_t length) {
    return CRC32Engine::Update(crc, data, length);
}

#endif

}  // namespace

uint32_t CRC32::Compute(uint32_t seed, const uint8_t* data, size_t length) {
    // The wire format fixes the missing final complement.
    return Update(~seed, data, length);
}

}  // namespace quarn
