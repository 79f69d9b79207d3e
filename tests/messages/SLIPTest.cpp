#include "support/Transcript.h"

#include <time.h>

#include <memory>

namespace quarn::test {
namespace {

/// What is printed comes of a write or put, and behind it the size of the backlog.
class SLIPPlayer : public Transcript {
public:
    SLIPPlayer() {
        Add({
            {"decoder", Quietly([&] { decoder_ = std::make_unique<SLIPDecoder>(W(1), N(2)); })},
            {"write", [&] { return Report([&] { return std::to_string(decoder_->Write(Hex(1))); }); }},
            {"map",
             [&] {
                 return Report([&] { return std::to_string(decoder_->WriteFromMemoryMapping(&word_, 1)); });
             }},
            {"get", [&] { return Get(); }},
            {"encoder", Quietly([&] { encoder_ = std::make_unique<SLIPEncoder>(W(1), N(2)); })},
            {"put", [&] { return Report([&] { return std::to_string(encoder_->Put(Hex(1))); }); }},
            {"read", [&] { return Read(); }},
        });
    }

private:
    std::string Get() {
        Bytes message = {7};
        const bool isThere = decoder_->Get(message);
        EXPECT_TRUE(isThere || message == Bytes{7}) << "not left alone";
        return isThere ? Shown(message) : "none";
    }
    std::string Read() {
        Bytes out = {0x55};
        encoder_->Read(out);
        return Shown(out);
    }

    const volatile uint32_t word_ = 0x41424344;
    std::unique_ptr<SLIPDecoder> decoder_;
    std::unique_ptr<SLIPEncoder> encoder_;
};

TEST(SLIPTest, FramesMessagesAndCutsThemOut) {
    SLIPPlayer().Replay("slip.txt");
}

// Each takes milliseconds; minutes, or at least many seconds, if a byte cost more the more bytes wait.
TEST(SLIPTest, DecodesInLinearTime) {
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
