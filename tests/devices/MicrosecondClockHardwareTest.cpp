#include <quarn/FpgaMicrosecondClock.h>
#include <quarn/LocalTime.h>
#include <quarn/MicrosecondClockHardware.h>

#include "devices/DeviceTest.h"

#include <stdio.h>

namespace quarn::test {
namespace {

using testing::StartsWith;

constexpr uint64_t kTimer = 0xFF110000;
constexpr uint64_t kCounter = 0xA0000040;

TEST(MicrosecondClockHardwareTest, CountsFromWhatItIsSetToAndAnswersOnTheConsole) {
    uint64_t now = 0;
    SimulatedBoard io;
    io.SetClock([&] { return now += 10000; });  // the count has gone on by 10 whenever it is read
    io.AddMemory(kTimer, 4096);
    io.AddTimer(kTimer);
    MicrosecondClockHardware clock(kTimer, io);
    io.SetWord(kTimer + 0x1C, 0xFFFFFFE6);
    EXPECT_EQ(clock.GetMicrosecondClock(), 0xFFFFFFF0u);
    clock.SetAdjustment(0x20);
    EXPECT_EQ(clock.GetMicrosecondClock(), 0x1Au);  // 0xFFFFFFFA + 0x20
    io.TakeAccesses();
    // The time before is of the first reading, 4, and the clock is set by the second one, 14.
    EXPECT_EQ(clock.SetMicrosecondClock(0xFFFFFFFF), 0x24u);
    EXPECT_EQ(io.TakeAccesses().size(), 2u);
    EXPECT_EQ(clock.GetAdjustment(), 0xFFFFFFFFu - 14);
    EXPECT_EQ(clock.GetMicrosecondClock(), 9u);

    const uint64_t start = Tick();
    const std::string checked = clock.Execute("c", {"check"}).front();
    const uint64_t most = Tick() - start;
    uint32_t counts;
    uint64_t ticks;
    ASSERT_EQ(sscanf(checked.c_str(), "%u counts occurred in %lu system ticks", &counts, &ticks), 2);
    EXPECT_EQ(counts, 10u);
    EXPECT_GE(ticks, 1000u);
    EXPECT_LE(ticks, most);
    EXPECT_THAT(clock.GetConsoleCommands(false), ElementsAre("sch"));
    EXPECT_EQ(clock.Execute("c", {"show"}).size(), 2u);
    EXPECT_EQ(ThrownMessage([&] { clock.Execute("c", {"shw"}); }), "\"c\" command has no \"shw\" subcommand");
}

TEST(MicrosecondClockHardwareTest, SetsTheTimerUpUnlessItRunsAlready) {
    SimulatedBoard io;
    io.AddMemory(kTimer, 4096);
    io.TakeAccesses();
    const std::vector<std::string> writes = {"w 0xFF11000C 0x1",  "w 0xFF110010 0x1",  "w 0xFF110014 0x1",
                                             "w 0xFF110004 0x20", "w 0xFF110010 0x20", "w 0xFF110000 0x20",
                                             "w 0xFF110030 0x18", "w 0xFF110024 0x19", "w 0xFF11000C 0xA"};
    const auto construct = [&] {
        { const MicrosecondClockHardware clock(kTimer, io); }
        std::vector<std::string> made = io.TakeAccesses();
        std::erase_if(made, [](const std::string& access) { return access[0] == 'r'; });
        return made;
    };
    EXPECT_EQ(construct(), writes);
    EXPECT_THAT(construct(), ElementsAre());
    for (const uint64_t offset : {0x24, 0x30}) {
        io.SetWord(kTimer + offset, 26);
        EXPECT_EQ(construct(), writes) << offset;
    }
    EXPECT_EQ(io.Held(), 0u);
    io.SetWord(kTimer + 0x18, 0x11);
    io.SetWord(kTimer + 0x1C, 0x89ABCDEF);
    EXPECT_THAT(MicrosecondClockHardware(kTimer, io).Execute("sch", {"raw"}),
                ElementsAre("0x00000011 (divide-by-26)", "0x89ABCDEF (free run)"));
}

TEST(FpgaMicrosecondClockTest, ReadsOneWordAndWritesNone) {
    SimulatedBoard io;
    io.AddMemory(kCounter & ~uint64_t{0xFFF}, 4096);
    io.SetWord(kCounter, 7);
    io.TakeAccesses();
    FpgaMicrosecondClock clock(kCounter, io);
    clock.SetAdjustment(0x10);
    EXPECT_EQ(clock.SetMicrosecondClock(0xAB), 0x17u);
    EXPECT_EQ(clock.GetMicrosecondClock() - clock.GetAdjustment(), 7u);
    EXPECT_THAT(clock.Execute("c", {"show"}),
                ElementsAre("0x000000A4 (adjustment)", "0x000000AB (effective)"));
    EXPECT_THAT(clock.Execute("c", {"check"}), ElementsAre(StartsWith("0 counts occurred in ")));
    EXPECT_THAT(io.TakeAccesses(), testing::AllOf(testing::Not(IsEmpty()), testing::Each("r 0xA0000040")));
    EXPECT_THAT(clock.GetConsoleCommands(false), ElementsAre("uclk"));
    EXPECT_EQ(ThrownMessage([&] { clock.Execute("c", {"raw"}); }), "\"c\" command has no \"raw\" subcommand");
}

}  // namespace
}  // namespace quarn::test
