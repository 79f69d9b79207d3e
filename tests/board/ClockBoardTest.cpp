#include "board/BoardDevices.h"

#include <time.h>

namespace quarn::test {

using testing::MatchesRegex;

constexpr uint64_t kTimer = 0xFF110000;
constexpr uint64_t kCounter = 0x1F011000;  // a word of memory in the place of a counter

// That these are the only writes to the timer, nine and in this order, is seen from outside: see scripts/board-test.
TEST(ClockBoardTest, SetsTheTimerUpOnceAndLeavesItRunning) {
    { const MicrosecondClockHardware first(kTimer); }
    EXPECT_EQ(Physical(kTimer + 0x30), 24u);
    EXPECT_EQ(Physical(kTimer + 0x24), 25u);
    EXPECT_EQ(Physical(kTimer + 0x0C), 0x0Au);
    const MicrosecondClockHardware second(kTimer);
    const uint32_t start = second.GetMicrosecondClock();
    EXPECT_TRUE(Eventually([&] { return second.GetMicrosecondClock() != start; }));
}

TEST(ClockBoardTest, BothClocksAnswerOnTheConsole) {
    MicrosecondClockHardware timer(kTimer);
    timer.SetAdjustment(0x80000000);
    EXPECT_THAT(timer.Execute("sch", {"show"}),
                ElementsAre("0x80000000 (adjustment)", MatchesRegex("0x8000.... \\(effective\\)")));
    EXPECT_THAT(timer.Execute("sch", {"raw"}), ElementsAre(MatchesRegex("0x0000.... \\(divide-by-26\\)"),
                                                           MatchesRegex("0x0000.... \\(free run\\)")));
    EXPECT_THAT(timer.Execute("sch", {"check"}),
                ElementsAre(MatchesRegex("[0-9]+ counts occurred in [0-9]{4,} system ticks")));
    FpgaMicrosecondClock counter(kCounter);
    Physical(kCounter) = 0xFFFFFFF0;
    EXPECT_EQ(counter.SetMicrosecondClock(5), 0xFFFFFFF0u);
    Physical(kCounter) = 2;
    EXPECT_THAT(counter.Execute("uclk", {"show"}),
                ElementsAre("0x00000015 (adjustment)", "0x00000017 (effective)"));
    EXPECT_THAT(counter.Execute("uclk", {"check"}),
                ElementsAre(MatchesRegex("0 counts occurred in [0-9]{4,} system ticks")));
}

TEST(ClockBoardTest, TheSystemClockIsReallySet) {
    constexpr time_t kThen = 1900000000;  // 2030
    const uint64_t start = Tick();
    DebugCapture debug(DEBUG_ERR);
    EXPECT_TRUE(UpdateSystemUTC(kThen));
    EXPECT_GE(time(nullptr), kThen);
    EXPECT_LT(time(nullptr), kThen + 60);
    EXPECT_LT(MillisecondsSince(start), 60000u);  // the tick counter goes on as before
    EXPECT_FALSE(UpdateSystemUTC(1));             // before the board was switched on
    EXPECT_GE(time(nullptr), kThen);
    EXPECT_TRUE(UpdateSystemUTC(kThen - 86400));
    EXPECT_LT(time(nullptr), kThen);
    EXPECT_THAT(debug.Lines(), ElementsAre("Set Linux system time to 2030/03/17 17:46:40 UTC",
                                           "Failed to set Linux system time: Invalid argument",
                                           "Set Linux system time to 2030/03/16 17:46:40 UTC"));
}

}  // namespace quarn::test
