#include "devices/DeviceTest.h"

#include <stdio.h>

namespace quarn::test {
namespace {

TEST(MicrosecondClockTest, ChecksItselfAgainstTheTickCounter) {
    constexpr uint64_t kTimer = 0xFF110000;
    uint64_t now = 0;
    SimulatedBoard board;
    board.SetClock([&] { return now += 10000; });  // the count has gone on by 10 whenever it is read
    board.AddMemory(kTimer, 4096);
    board.AddTimer(kTimer);
    MicrosecondClockHardware clock(kTimer, board);
    clock.SetAdjustment(0x20);
    EXPECT_EQ(clock.GetMicrosecondClock(), 0x20u + 10);
    const uint64_t start = Tick();
    const std::string checked = clock.Execute("sch", {"check"}).front();
    const uint64_t most = Tick() - start;
    uint32_t counts;
    uint64_t ticks;
    ASSERT_EQ(sscanf(checked.c_str(), "%u counts occurred in %lu system ticks", &counts, &ticks), 2);
    EXPECT_EQ(counts, 10u);
    EXPECT_GE(ticks, 1000u);
    EXPECT_LE(ticks, most);
    FpgaMicrosecondClock other(kTimer, board);
    EXPECT_THAT(other.Execute("uclk", {"check"}), ElementsAre(StartsWith("0 counts occurred in ")));
}

TEST(MicrosecondClockTest, InSoftwareCountsFromWhatItIsSetTo) {
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
}  // namespace quarn::test
