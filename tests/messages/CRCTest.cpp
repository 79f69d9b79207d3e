#include <quarn/CRC16.h>
#include <quarn/CRC32.h>

#include "messages/RangeCRC.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace quarn::test {
namespace {

template <class Register>
Register BitByBit(Register crc, Register polynomial, const uint8_t* data, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        crc = Register(crc ^ data[i]);
        for (int bit = 0; bit < 8; ++bit)
            crc = Register((crc >> 1) ^ ((crc & 1) ? polynomial : 0));
    }
    return crc;
}

uint16_t Reference16(uint16_t seed, const uint8_t* data, size_t length) {
    return BitByBit<uint16_t>(seed, 0x8408, data, length);
}

uint32_t Reference32(uint32_t seed, const uint8_t* data, size_t length) {
    return BitByBit<uint32_t>(~seed, 0xEDB88320, data, length);
}

std::vector<uint8_t> RandomBytes(size_t count) {
    std::mt19937 random(1);
    std::vector<uint8_t> bytes(count);
    for (uint8_t& byte : bytes)
        byte = uint8_t(random());
    return bytes;
}

TEST(CRCTest, CheckValues) {
    const auto* digits = reinterpret_cast<const uint8_t*>("123456789");
    EXPECT_EQ(CRC16::Compute(0, digits, 9), 0x2189);
    EXPECT_EQ(CRC32::Compute(0, digits, 9), 0x340BC6D9u);
    EXPECT_EQ(CRC16::Compute(0x1234, nullptr, 0), 0x1234);
    EXPECT_EQ(CRC32::Compute(0x12345678, nullptr, 0), 0xEDCBA987u);
}

TEST(CRCTest, EveryLengthAlignmentAndSeedAgreesWithBitByBit) {
    const std::vector<uint8_t> bytes = RandomBytes(2100);
    std::vector<size_t> lengths = {511, 512, 1023, 1500, 2048};
    for (size_t length = 0; length <= 300; ++length)
        lengths.push_back(length);
    for (uint32_t seed : {0u, 1u, 0xFFFFFFFFu, 0x8001A55Au})
        for (size_t alignment = 0; alignment < 16; ++alignment)
            for (size_t length : lengths) {
                const uint8_t* data = bytes.data() + alignment;
                ASSERT_EQ(CRC16::Compute(uint16_t(seed), data, length),
                          Reference16(uint16_t(seed), data, length))
                    << length << " bytes at " << alignment;
                ASSERT_EQ(CRC32::Compute(seed, data, length), Reference32(seed, data, length))
                    << length << " bytes at " << alignment;
            }
}

TEST(RangeCRCTest, AnyPartHasTheSumOfItsBytes) {
    const std::vector<uint8_t> bytes = RandomBytes(200000);
    std::mt19937 random(2);
    RangeCRC range;
    // The second round starts elsewhere: nothing of the first may survive.
    for (size_t base : {size_t{0}, size_t{77}}) {
        range.Reset(bytes.data() + base);
        const auto check = [&](size_t offset, size_t length) {
            const uint8_t* data = bytes.data() + base + offset;
            ASSERT_EQ(range.CRC16Of(data, length), CRC16::Compute(0, data, length))
                << offset << " " << length;
            ASSERT_EQ(range.CRC32Of(data, length), CRC32::Compute(0, data, length))
                << offset << " " << length;
        };
        check(190000, 300);  // far ahead first, then back
        for (size_t length : {0, 1, 255, 256, 257, 511, 512, 65535, 65536, 65537, 131072})
            for (size_t offset : {0, 1, 63, 64, 65, 128, 1000})
                check(offset, length);
        for (int i = 0; i < 1000; ++i) {
            const size_t offset = random() % 100000;
            check(offset, random() % 90000);
        }
    }
}

}  // namespace
}  // namespace quarn::test
