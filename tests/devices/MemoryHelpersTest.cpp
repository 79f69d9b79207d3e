#include <quarn/MemoryHelpers.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>

namespace quarn {
namespace {

using Bytes = std::array<uint8_t, 64>;

Bytes Numbered() {
    Bytes bytes;
    std::iota(bytes.begin(), bytes.end(), 1);
    return bytes;
}

// Every alignment with every length over more than two words: what is inside changes and nothing else does.
TEST(MemoryHelpersTest, FillsClearsAndCopiesExactlyTheRange) {
    const Bytes before = Numbered();
    for (size_t start = 0; start < 9; ++start)
        for (size_t count = 0; count < 30; ++count) {
            SCOPED_TRACE(testing::Message() << start << " +" << count);
            alignas(8) Bytes cleared = before, filled = before, copied = before, wanted = before;
            std::fill_n(wanted.begin() + start, count, 0);
            quarn_memclr(cleared.data() + start, count);
            EXPECT_EQ(cleared, wanted);
            std::fill_n(wanted.begin() + start, count, 0xA5);
            quarn_memset(filled.data() + start, 0xA5, count);
            EXPECT_EQ(filled, wanted);
            std::copy_n(before.begin() + 31, count, wanted.begin() + start);
            quarn_memcpy(copied.data() + start, before.data() + 31, count);
            EXPECT_EQ(copied, wanted);
        }
}

TEST(MemoryHelpersTest, CopiesAscendingAndComparesTheFirstBytesOnly) {
    Bytes bytes = Numbered();
    volatile uint8_t* const first = bytes.data();
    quarn_memcpy(first + 1, bytes.data(), 8);
    EXPECT_EQ(std::count(bytes.begin(), bytes.begin() + 9, 1), 9);

    const uint8_t low[] = {1, 9}, high[] = {0x80, 0}, likeLow[] = {1, 0};
    EXPECT_EQ(quarn_memcmp(low, high, 1), -1);
    EXPECT_EQ(quarn_memcmp(high, low, 2), 1);
    EXPECT_EQ(quarn_memcmp(low, likeLow, 2), 0);
    EXPECT_EQ(quarn_memcmp(low, high, 0), 0);
}

}  // namespace
}  // namespace quarn
