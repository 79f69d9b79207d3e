#include <quarn/SLIPDecoder.h>

#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <time.h>

#include <string>
#include <utility>
#include <vector>

namespace quarn::test {
namespace {

using Bytes = std::vector<uint8_t>;

void GetAll(SLIPDecoder& decoder, std::vector<Bytes>& messages) {
    Bytes message = {7};
    while (decoder.Get(message))
        messages.push_back(std::exchange(message, {7}));
    EXPECT_EQ(message, Bytes{7});  // left alone
}

std::vector<Bytes> GetAll(SLIPDecoder& decoder) {
    std::vector<Bytes> messages;
    GetAll(decoder, messages);
    return messages;
}

TEST(SLIPDecoderTest, CutsFramesOut) {
    const std::tuple<Bytes, std::vector<Bytes>, size_t> cases[] = {
        // and how many bytes wait afterwards
        {{0xC0, 0xC0, 0x41, 0xC0}, {{0x41}}, 0},
        {{0x41, 0xDB, 0xDC, 0xC0}, {{0x41, 0xC0}}, 0},
        {{0xDB, 0xDD, 0xC0, 0xC0, 0xDC, 0xC0}, {{0xDB}, {0xDC}}, 0},
        {{0xDB, 0x55, 0xC0}, {{0x55}}, 0},
        // An escaped END or ESC is data, however malformed.
        {{0xDB, 0xC0, 0xC0, 0xDB, 0xDB, 0xDC, 0xC0}, {{0xC0}, {0xDB, 0xDC}}, 0},
        {{0x41, 0xC0, 0x42, 0xDB}, {{0x41}}, 2},
        {{0x41, 0xC0, 0xC0, 0xC0}, {{0x41}}, 2},
        {{0xDB, 0xC0}, {}, 2},
        {{1, 2, 3, 4, 5, 6, 7, 8, 9, 0xC0, 1, 2, 3, 4, 5, 6, 7, 0xC0},
         {{1, 2, 3, 4, 5, 6, 7, 8, 9}, {1, 2, 3, 4, 5, 6, 7}},
         0},
    };
    for (const auto& [stream, expected, left] : cases) {
        for (const size_t step : {stream.size(), size_t{1}}) {
            SLIPDecoder decoder("link", 0);
            std::vector<Bytes> frames;
            for (size_t at = 0; at < stream.size(); at += step) {
                decoder.Write(Bytes(&stream[at], &stream[at] + step));
                GetAll(decoder, frames);
            }
            EXPECT_EQ(frames, expected);
            EXPECT_EQ(decoder.Write({}), left);
        }
    }
}

TEST(SLIPDecoderTest, TakesWordsMostSignificantByteFirst) {
    const volatile uint32_t words[] = {0x11223344, 0x55C066DB, 0xDDC0C0C0};
    SLIPDecoder decoder("link", 12);
    EXPECT_EQ(decoder.WriteFromMemoryMapping(words, 3), 12u);
    EXPECT_EQ(GetAll(decoder), (std::vector<Bytes>{{0x11, 0x22, 0x33, 0x44, 0x55}, {0x66, 0xDB}}));
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
    EXPECT_EQ(decoder.Write({0x07, 0xC0}), 2u);
    EXPECT_EQ(GetAll(decoder), std::vector<Bytes>{{0x07}});
    EXPECT_EQ(decoder.Write(Bytes(9)), 0u);
    // A frame of which a part has been decoded already leaves nothing behind.
    decoder.Write({0x01, 0x02, 0x03});
    EXPECT_FALSE(decoder.Get(message));
    EXPECT_EQ(decoder.Write(Bytes(6)), 0u);
    decoder.Write({0x08, 0xC0});
    EXPECT_EQ(GetAll(decoder), std::vector<Bytes>{{0x08}});

    SLIPDecoder standard("standard", 0);
    EXPECT_EQ(standard.Write(Bytes(262144)), 262144u);
    EXPECT_EQ(standard.Write({1}), 0u);
    EXPECT_EQ(debug.Lines(),
              (Lines{"SLIP Backlog for \"link\" reached 12 bytes; clearing (traffic lost).",
                     "SLIP Backlog for \"link\" reached 9 bytes; clearing (traffic lost).",
                     "SLIP Backlog for \"link\" reached 9 bytes; clearing (traffic lost).",
                     "SLIP Backlog for \"standard\" reached 262145 bytes; clearing (traffic lost)."}));
}

// Each takes milliseconds; minutes, or at least many seconds, if a byte cost more the more bytes wait.
TEST(SLIPDecoderTest, TakesLinearTime) {
    const clock_t start = clock();  // of the processor, whatever else the machine is at
    SLIPDecoder slow("slow", 0);
    Bytes message;
    for (int i = 0; i < 262143; ++i) {
        slow.Write({0x41});
        ASSERT_FALSE(slow.Get(message));
    }
    slow.Write({0xC0});
    EXPECT_TRUE(slow.Get(message));

    const size_t frames = 300000;
    SLIPDecoder crowded("crowded", 2 * frames);
    Bytes stream(2 * frames, 0x41);
    for (size_t i = 1; i < stream.size(); i += 2)
        stream[i] = 0xC0;
    crowded.Write(stream);
    size_t count = 0;
    while (crowded.Get(message))
        ++count;
    EXPECT_EQ(count, frames);
    EXPECT_LT(clock() - start, 4 * CLOCKS_PER_SEC);
}

}  // namespace
}  // namespace quarn::test
