#include <quarn/LocalTime.h>
#include <quarn/MicrosecondClockSoftware.h>

#include <gtest/gtest.h>

namespace quarn {
namespace {

TEST(MicrosecondClockSoftwareTest, CountsFromWhatItIsSetTo) {
    MicrosecondClockSoftware clock;
    clock.SetAdjustment(77);
    const uint64_t start = Tick();
    const uint32_t before = clock.SetMicrosecondClock(0xFFFFFFFF);
    const uint32_t now = clock.GetMicrosecondClock();
    const uint64_t end = Tick();
    EXPECT_LE(before - uint32_t(start + 77), end - start);
    EXPECT_LE(now - 0xFFFFFFFF, end - start);  // across the wrap
}

}  // namespace
}  // namespace quarn
