#include <quarn/BufferChain.h>

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(BufferChainTest, IsReadInOtherPiecesThanItWasWritten) {
    BufferChain chain;
    Bytes out = {9};
    chain.Read(out, 3);
    EXPECT_EQ(out, Bytes());
    chain.Write({1, 2, 3});
    chain.Write({});
    chain.Write({4, 5});
    chain.Read(out, 2);
    EXPECT_EQ(out, (Bytes{1, 2}));
    chain.Write({6});
    EXPECT_EQ(chain.AvailableBytes(), 4U);
    chain.Read(out, 2);
    EXPECT_EQ(out, (Bytes{3, 4}));
    chain.Read(out, 0);
    EXPECT_EQ(out, (Bytes{5, 6}));
    EXPECT_EQ(chain.AvailableBytes(), 0U);
    chain.Write({7});
    chain.Read(out, 100);
    EXPECT_EQ(out, Bytes{7});
}

}  // namespace
}  // namespace quarn::test
