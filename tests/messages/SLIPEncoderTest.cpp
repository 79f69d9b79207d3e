#include <quarn/SLIPEncoder.h>

#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <utility>

namespace quarn::test {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(SLIPEncoderTest, FramesMessagesAndDropsEverythingAboveTheLimit) {
    DebugCapture debug;
    for (const auto& [limit, kept] : {std::pair<size_t, size_t>{8, 7}, {0, 262143}}) {
        SLIPEncoder encoder("li%sk", limit);
        EXPECT_EQ(encoder.Put(Bytes(kept, 0x41)), kept + 1);
        EXPECT_EQ(encoder.Put({0xC0}), 0u);
        EXPECT_EQ(encoder.Put({}), 1u);
        EXPECT_EQ(encoder.Put({0x01, 0xC0, 0xDB, 0xDC}), 8u);
        Bytes out = {0x55};
        encoder.Read(out);
        EXPECT_EQ(out, (Bytes{0xC0, 0x01, 0xDB, 0xDC, 0xDB, 0xDD, 0xDC, 0xC0}));
        encoder.Read(out);
        EXPECT_EQ(out, Bytes());
    }
    EXPECT_EQ(debug.Lines(),
              (Lines{"SLIP Backlog for \"li%sk\" reached 11 bytes; clearing (traffic l st).",
                     "SLIP Backlog for \"li%sk\" reached 262147 bytes; clearing (traffic l st)."}));
}

}  // namespace
}  // namespace quarn::test
