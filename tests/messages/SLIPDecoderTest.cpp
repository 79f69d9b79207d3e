#include <quarn/SLIPDecoder.h>

#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <time.h>

#include <utility>

namespace quarn::test {
namespace {

using Bytes = std::vector<uint8_t>;

std::vector<Bytes> GetAll(SLIPDecoder& decoder, std::vector<Bytes> messages = {}) {
    Bytes message = {7};
    while (decoder.Get(message))
        messages.push_back(std::exchange(message, {7}));
    EXPECT_EQ(message, Bytes{7});  // left alone
    return messages;
}

TEST(SLIPDecoderTest, CutsFramesOut) {
    const Bytes stream = {0xC0, 0xC0, 0x41, 0xDB, 0xDC, 0xC0, 0xDB, 0xDD, 0xC0, 0xDC, 0xC0,
                          // An escaped END or ESC is data, however malformed.
                          0xDB, 0x55, 0xC0, 0xDB, 0xC0, 0xC0, 0xDB, 0xDB, 0xDC, 0xC0, 0xC0, 0x42, 0xDB};
    SLIPDecoder decoder("link", 0), piecemeal("link", 0);
    std::vector<Bytes> frames;
    EXPECT_EQ(decoder.Write(stream), stream.size());
    for (const uint8_t byte : stream) {
        piecemeal.Write({byte});
        frames = GetAll(piecemeal, frames);
    }
    EXPECT_EQ(frames, (std::vector<Bytes>{{0x41, 0xC0}, {0xDB}, {0xDC}, {0x55}, {0xC0}, {0xDB, 0xDC}}));
    EXPECT_EQ(GetAll(decoder), frames);
    EXPECT_EQ(decoder.Write({}), 3u);
}

TEST(SLIPDecoderTest, DropsEverythingAboveTheLimit) {
    DebugCapture debug;
    const volatile uint32_t word = 0x41424344;
    SLIPDecoder decoder("link", 8);
    EXPECT_EQ(decoder.Write({0x01, 0xC0, 0x02, 0xC0, 0x03, 0x04, 0xC0, 0xDB}), 8u);
    Bytes message;
    EXPECT_TRUE(decoder.Get(message));  // what was handed out does not count
    EXPECT_EQ(decoder.Write({0x05, 0x06}), 8u);
    EXPECT_EQ(decoder.WriteFromMemoryMapping(&word, 1), 0u);
    // A frame of which a part has been decoded already leaves nothing behind.
    decoder.Write({0x01, 0x02, 0x03});
    EXPECT_FALSE(decoder.Get(message));
    EXPECT_EQ(decoder.Write(Bytes(6)), 0u);
    decoder.Write({0x08, 0xC0});
    EXPECT_EQ(GetAll(decoder), std::vector<Bytes>{{0x08}});
    EXPECT_EQ(SLIPDecoder("standard", 0).Write(Bytes(262145)), 0u);
    EXPECT_EQ(debug.Lines(),
              (Lines{"SLIP Backlog for \"link\" reached 12 bytes; clearing (traffic lost).",
                     "SLIP Backlog for \"link\" reached 9 bytes; clearing (traffic lost).",
                     "SLIP Backlog for \"standard\" reached 262145 bytes; clearing (traffic lost)."}));
}

// Each takes milliseconds; minutes, or at least many seconds, if a byte cost more the more bytes wait.
TEST(SLIPDecoderTest, TakesLinearTime) {
    const clock_t start = clock();  // of the processor, whatever else the machine is at
    SLIPDecoder slow("slow", 0), crowded("crowded", 1000000);
    Bytes message;
    for (int i = 0; i < 262144; ++i) {
        slow.Write({0x41});
        ASSERT_FALSE(slow.Get(message));
        crowded.Write({0x41, 0xC0});
    }
    while (crowded.Get(message)) {
    }
    EXPECT_LT(clock() - start, 4 * CLOCKS_PER_SEC);
}

}  // namespace
}  // namespace quarn::test
