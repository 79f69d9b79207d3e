#include <quarn/BufferChain.h>

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

TEST(BufferChainTest, IsReadInOtherPiecesThanItWasWritten) {
    using Bytes = std::vector<uint8_t>;
    BufferChain chain;
    const auto read = [&](size_t maximum) {
        Bytes bytes = {9};
        chain.Read(bytes, maximum);
        return bytes;
    };
    chain.Write({1, 2, 3});
    chain.Write({});
    chain.Write({4, 5});
    EXPECT_EQ(read(2), (Bytes{1, 2}));
    EXPECT_EQ(chain.AvailableBytes(), 3U);
    EXPECT_EQ(read(2), (Bytes{3, 4}));
    chain.Write({6});
    EXPECT_EQ(read(0), (Bytes{5, 6}));
    EXPECT_EQ(read(3), Bytes());
}

}  // namespace
}  // namespace quarn::test
