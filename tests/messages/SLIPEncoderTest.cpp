#include <quarn/SLIPEncoder.h>

#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quarn::test {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(SLIPEncoderTest, FramesMessages) {
    const std::pair<Bytes, Bytes> cases[] = {
        {{}, {0xC0}},
        {{0x01, 0xC0, 0xDB, 0x02}, {0x01, 0xDB, 0xDC, 0xDB, 0xDD, 0x02, 0xC0}},
        {{0xDC, 0xDD}, {0xDC, 0xDD, 0xC0}},
        {{1, 2, 3, 4, 5, 6, 7, 8, 0xDB, 9}, {1, 2, 3, 4, 5, 6, 7, 8, 0xDB, 0xDD, 9, 0xC0}},
        {{0xBF, 0xC1, 0xDA, 5, 6, 7, 8, 0xC0}, {0xBF, 0xC1, 0xDA, 5, 6, 7, 8, 0xDB, 0xDC, 0xC0}},
    };
    SLIPEncoder encoder("link", 0);
    Bytes all;
    for (const auto& [message, framed] : cases) {
        all.insert(all.end(), framed.begin(), framed.end());
        EXPECT_EQ(encoder.Put(message), all.size());
    }
    Bytes out = {0x55};
    encoder.Read(out);
    EXPECT_EQ(out, all);
    encoder.Read(out);
    EXPECT_EQ(out, Bytes());
}

TEST(SLIPEncoderTest, DropsEverythingAboveTheLimit) {
    DebugCapture debug;
    std::vector<std::string> expected;
    for (const auto& [limit, kept] : {std::pair<size_t, size_t>{8, 7}, {0, 262143}}) {
        SLIPEncoder encoder("li%sk", limit);
        EXPECT_EQ(encoder.Put(Bytes(kept, 0x41)), kept + 1);
        EXPECT_EQ(encoder.Put({0xC0}), 0u);
        expected.push_back("SLIP Backlog for \"li%sk\" reached " + std::to_string(kept + 4) +
                           " bytes; clearing (traffic l st).");
        EXPECT_EQ(encoder.Put({0x42}), 2u);
        Bytes out;
        encoder.Read(out);
        EXPECT_EQ(out, (Bytes{0x42, 0xC0}));
    }
    EXPECT_EQ(debug.Lines(), expected);
}

}  // namespace
}  // namespace quarn::test
