#include <quarn/LocalTime.h>
#include <quarn/MicrosecondClockSoftware.h>

#include <gtest/gtest.h>

namespace quarn {
namespace {

TEST(MicrosecondClockSoftwareTest, CountsFromWhatItIsSetTo) {
    MicrosecondClockSoftware clock;
    for (const uint32_t time : {0u, 1000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        clock.SetAdjustment(77);
        const uint64_t start = Tick();
        const uint32_t before = clock.SetMicrosecondClock(time);
        const uint32_t adjustment = clock.GetAdjustment();
        const uint32_t now = clock.GetMicrosecondClock();
        const uint64_t end = Tick();
        EXPECT_LE(before - static_cast<uint32_t>(start + 77), end - start);
        EXPECT_LE(now - time, end - start);  // across the wrap too
        EXPECT_LE(time - adjustment - static_cast<uint32_t>(start), end - start);
    }
}

}  // namespace
}  // namespace quarn
