#include <quarn/FpgaMicrosecondClock.h>
#include <quarn/LocalTime.h>
#include <quarn/MicrosecondClockHardware.h>

#include "board/ConfiguredBoard.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdio.h>
#include <time.h>

#include <atomic>
#include <thread>

namespace quarn::test {
namespace {

using testing::ElementsAre;

constexpr uint64_t kTimer = 0xFF110000;
constexpr uint64_t kCounter = 0x1F011000;  // a word of memory in the place of a counter

bool Advances(const MicrosecondClock& clock) {
    const uint32_t start = clock.GetMicrosecondClock();
    return Eventually([&] { return clock.GetMicrosecondClock() != start; });
}

/// What a line such as "12 counts occurred in 1034 system ticks" says.
void Parse(const std::vector<std::string>& lines, uint32_t* counts, uint64_t* ticks) {
    ASSERT_EQ(lines.size(), 1u);
    ASSERT_EQ(sscanf(lines[0].c_str(), "%u counts occurred in %lu system ticks", counts, ticks), 2)
        << lines[0];
}

// That these are the only writes to the timer, nine and in this order, is seen from outside: see scripts/board-test.
TEST(ClockBoardTest, SetsTheTimerUpOnceAndLeavesItRunning) {
    { const MicrosecondClockHardware first(kTimer); }
    EXPECT_EQ(ReadPhysical(kTimer + 0x30), 24u);
    EXPECT_EQ(ReadPhysical(kTimer + 0x24), 25u);
    EXPECT_EQ(ReadPhysical(kTimer + 0x0C), 0x0Au);
    const MicrosecondClockHardware second(kTimer);
    EXPECT_TRUE(Advances(second));
}

TEST(ClockBoardTest, TheTimerAnswersOnTheConsole) {
    MicrosecondClockHardware clock(kTimer);
    ConfiguredBoard board({&clock}, "");
    clock.SetAdjustment(0x80000000);
    const std::vector<std::string> shown = board.Run("sch show");
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0], "0x80000000 (adjustment)");
    EXPECT_THAT(shown[1], testing::MatchesRegex("0x8000.... \\(effective\\)"));  // 16 bits wide here, not 32
    EXPECT_THAT(board.Run("sch raw"), ElementsAre(testing::MatchesRegex("0x0000.... \\(divide-by-26\\)"),
                                                  testing::MatchesRegex("0x0000.... \\(free run\\)")));
    uint32_t counts = 0;
    uint64_t ticks = 0;
    Parse(board.Run("sch check"), &counts, &ticks);
    EXPECT_GE(ticks, 1000u);
}

TEST(ClockBoardTest, TheCounterIsSetReadAndCheckedOnTheConsole) {
    WritePhysical(kCounter, 0xFFFFFFF0);
    FpgaMicrosecondClock clock(kCounter);
    ConfiguredBoard board({&clock}, "");
    EXPECT_EQ(clock.SetMicrosecondClock(5), 0xFFFFFFF0u);
    WritePhysical(kCounter, 2);
    EXPECT_EQ(clock.GetMicrosecondClock(), 5u + 18u);
    EXPECT_THAT(board.Run("uclk show"), ElementsAre("0x00000015 (adjustment)", "0x00000017 (effective)"));

    const uint64_t start = Tick();
    std::atomic<bool> ends = false;
    std::thread counter([&] {
        while (!ends)
            WritePhysical(kCounter, uint32_t(Tick()));
    });
    EXPECT_TRUE(Advances(clock));
    uint32_t counts = 0;
    uint64_t ticks = 0;
    EXPECT_TRUE(Eventually([&] {
        Parse(board.Run("uclk check"), &counts, &ticks);
        return counts != 0;
    }));
    ends = true;
    counter.join();
    EXPECT_GE(ticks, 1000u);
    EXPECT_LE(counts, Tick() - start);
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

}  // namespace
}  // namespace quarn::test
