#include "storage/StorageBlock.h"

#include <gtest/gtest.h>

#include <string.h>

namespace quarn::test {
namespace {

TEST(StorageBlock, HasTheStatedBytes) {
    // Computed apart from this library, with a CRC-32 in another language.
    const std::vector<uint8_t> empty = {0x74, 0x6D, 0x76, 0x1D, 0x04, 0x03, 0x02, 0x01, 0x88, 0x77, 0x66,
                                        0x55, 0x44, 0x33, 0x22, 0x11, 0x00, 0x00, 0x00, 0x00, 0x4C, 0xFE,
                                        0x3C, 0xBB, 0xB7, 0x89, 0x4D, 0x5A, 0xD8, 0xCA, 0x93, 0x01};
    const std::vector<uint8_t> padded = {0x74, 0x6D, 0x76, 0x1D, 0x07, 0x00, 0x00, 0x00, 0x01, 0x00,
                                         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00,
                                         0x76, 0xDC, 0xCB, 0xE8, 0xB1, 0xB1, 0xB1, 0xB1, 0xB1, 0xA0,
                                         0xA0, 0xA0, 0xB1, 0xB7, 0xD6, 0xA6, 0xD8, 0xCA, 0x93, 0x01};
    EXPECT_EQ(BlockBuilder().Finish(0x01020304, 0x1122334455667788), empty);
    BlockBuilder builder;
    const uint8_t fiveBytes[5] = {0xB1, 0xB1, 0xB1, 0xB1, 0xB1};
    builder.Append(fiveBytes, 2);
    builder.Append(fiveBytes, 3);
    EXPECT_EQ(builder.Finish(7, 1), padded);

    BlockHeader header;
    memcpy(header.Bytes(), empty.data(), BlockHeader::kBytes);
    EXPECT_TRUE(header.IsValid());
    EXPECT_EQ(header.DataVersion(), 0x01020304u);
    EXPECT_EQ(header.Stamp(), 0x1122334455667788u);
    for (size_t i = 0; i < BlockHeader::kBytes; ++i) {
        header.Bytes()[i] ^= 0x10;
        EXPECT_FALSE(header.IsValid()) << i;
        header.Bytes()[i] ^= 0x10;
    }
}

}  // namespace
}  // namespace quarn::test
