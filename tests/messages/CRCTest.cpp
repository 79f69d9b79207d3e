#include <quarn/CRC16.h>
#include <quarn/CRC32.h>

#include "messages/RangeCRC.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <vector>

namespace quarn::test {
namespace {

template <class Register>
Register BitByBit(Register crc, Register polynomial, const uint8_t* data, size_t length) {
    for (size_t bit = 0; bit < 8 * length; ++bit) {
        const bool divides = (crc ^ data[bit / 8] >> bit % 8) & 1;
        crc = Register((crc >> 1) ^ (divides ? polynomial : 0));
    }
    return crc;
}

TEST(CRCTest, CheckValues) {
    const auto* digits = reinterpret_cast<const uint8_t*>("123456789");
    EXPECT_EQ(CRC16::Compute(0, digits, 9), 0x2189);
    EXPECT_EQ(CRC32::Compute(0, digits, 9), 0x340BC6D9u);
    EXPECT_EQ(CRC16::Compute(0x1234, nullptr, 0), 0x1234);
    EXPECT_EQ(CRC32::Compute(0x12345678, nullptr, 0), 0xEDCBA987u);
}

TEST(CRCTest, EveryLengthAndAlignmentAgreesWithBitByBit) {
    std::vector<uint8_t> bytes(616);
    std::generate(bytes.begin(), bytes.end(), std::mt19937(1));
    for (uint32_t seed : {0u, 0x8001A55Au})
        for (size_t length = 0; length <= 600; ++length)
            for (const uint8_t* data = bytes.data(); data < bytes.data() + 16; ++data) {
                const auto low = uint16_t(seed);
                ASSERT_EQ(CRC16::Compute(low, data, length), BitByBit<uint16_t>(low, 0x8408, data, length));
                ASSERT_EQ(CRC32::Compute(seed, data, length), BitByBit(~seed, 0xEDB88320, data, length));
            }
}

TEST(RangeCRCTest, AnyPartHasTheSumOfItsBytes) {
    std::mt19937 random(2);
    std::vector<uint8_t> bytes(200000);
    std::generate(bytes.begin(), bytes.end(), std::ref(random));
    RangeCRC range;
    for (int i = 0; i < 1000; ++i) {
        if (i % 500 == 0)
            range.Reset(bytes.data() + i);  // nothing of what was may survive
        const uint8_t* data = bytes.data() + 500 + random() % 100000;
        const size_t length = random() % 90000;
        ASSERT_EQ(range.CRC16Of(data, length), CRC16::Compute(0, data, length));
        ASSERT_EQ(range.CRC32Of(data, length), CRC32::Compute(0, data, length));
    }
}

}  // namespace
}  // namespace quarn::test
