#include <quarn/BufferChain.h>

#include <gtest/gtest.h>

namespace quarn {

TEST(BufferChainTest, IsReadInOtherPiecesThanItWasWritten) {
    using Bytes = std::vector<uint8_t>;
    BufferChain chain;
    auto read = [&, bytes = Bytes{9}](size_t maximum) mutable {
        chain.Read(bytes, maximum);
        return bytes;
    };
    for (const Bytes& bytes : {Bytes{1, 2, 3}, Bytes{}, Bytes{4, 5}})
        chain.Write(bytes);
    EXPECT_EQ(read(2), (Bytes{1, 2}));
    EXPECT_EQ(chain.AvailableBytes(), 3U);
    EXPECT_EQ(read(2), (Bytes{3, 4}));
    chain.Write({6});
    EXPECT_EQ(read(0), (Bytes{5, 6}));
    EXPECT_EQ(read(3), Bytes());
}

}  // namespace quarn
