#include <quarn/FpgaMicrosecondClock.h>
#include <quarn/LocalTime.h>
#include <quarn/MicrosecondClockHardware.h>
#include <quarn/sim/SimulatedBoard.h>

#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <errno.h>
#include <stdio.h>

#include <optional>

namespace quarn {
namespace {

using sim::Call;
using sim::SimulatedBoard;
using test::ThrownMessage;
using testing::ElementsAre;

constexpr uint64_t kTimer = 0xFF110000;
constexpr uint64_t kCounter = 0xA0000040;

/// A clock over a running counter that has gone on by 10 whenever it is read.
template <class Clock>
struct Bench {
    explicit Bench(uint32_t start) {
        io.SetClock([this] { return now += step; });
        io.AddMemory(address & ~uint64_t{0xFFF}, 4096);
        if (kIsTimer)
            io.AddTimer(address);
        else
            io.AddCounter(address, 1000000);
        io.TakeAccesses();
        clock.emplace(address, io);
        io.SetWord(kIsTimer ? address + 0x1C : address, start - 10);
    }

    static constexpr bool kIsTimer = std::is_same_v<Clock, MicrosecondClockHardware>;
    const uint64_t address = kIsTimer ? kTimer : kCounter;
    uint64_t now = 0;
    uint64_t step = 10000;  // nanoseconds
    SimulatedBoard io;
    std::optional<Clock> clock;
};

template <class Clock>
class MappedClockTest : public testing::Test {};
using Clocks = testing::Types<MicrosecondClockHardware, FpgaMicrosecondClock>;
TYPED_TEST_SUITE(MappedClockTest, Clocks);

TYPED_TEST(MappedClockTest, CountsFromWhatItIsSetTo) {
    Bench<TypeParam> bench(0xFFFFFFF0);
    SettableMicrosecondClock& clock = *bench.clock;
    EXPECT_EQ(clock.GetAdjustment(), 0u);
    EXPECT_EQ(clock.GetMicrosecondClock(), 0xFFFFFFF0u);
    bench.clock->SetAdjustment(0x20);
    EXPECT_EQ(clock.GetMicrosecondClock(), 0x1Au);  // 0xFFFFFFFA + 0x20
    bench.io.TakeAccesses();
    // The time before is of the first reading, 4, and the clock is set by the second one, 14.
    EXPECT_EQ(clock.SetMicrosecondClock(0xFFFFFFFF), 0x24u);
    EXPECT_EQ(bench.io.TakeAccesses().size(), 2u);
    EXPECT_EQ(clock.GetAdjustment(), 0xFFFFFFFFu - 14);
    EXPECT_EQ(clock.GetMicrosecondClock(), 9u);
}

TYPED_TEST(MappedClockTest, ShowsAndChecksOnTheConsole) {
    Bench<TypeParam> bench(0xFFFFFFF8);
    bench.clock->SetAdjustment(0xAB);
    EXPECT_THAT(bench.clock->Execute("c", {"show"}),
                ElementsAre("0x000000AB (adjustment)", "0x000000A3 (effective)"));
    const uint64_t start = Tick();
    const std::list<std::string> checked = bench.clock->Execute("c", {"check"});
    const uint64_t most = Tick() - start;
    uint32_t counts;
    uint64_t ticks;
    ASSERT_EQ(checked.size(), 1u);
    ASSERT_EQ(sscanf(checked.front().c_str(), "%u counts occurred in %lu system ticks", &counts, &ticks), 2);
    EXPECT_EQ(counts, 10u);
    EXPECT_GE(ticks, 1000u);
    EXPECT_LE(ticks, most);
    EXPECT_EQ(ThrownMessage([&] { bench.clock->Execute("c", {"shw"}); }),
              "\"c\" command has no \"shw\" subcommand");
    const std::vector<std::string> tooMuch = {"show", "x"};
    EXPECT_EQ(ThrownMessage([&] { bench.clock->Execute("c", tooMuch); }),
              "\"c show\" command requires no arguments");
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
    io.Fail(Call::OPEN, EACCES);
    EXPECT_EQ(ThrownMessage(construct), "Could not open /dev/mem: Permission denied");
}

TEST(MicrosecondClockHardwareTest, ShowsItsCountersAndExplainsItsCommand) {
    Bench<MicrosecondClockHardware> bench(0);
    bench.step = 0;
    bench.io.SetWord(kTimer + 0x18, 0x11);
    bench.io.SetWord(kTimer + 0x1C, 0x89ABCDEF);
    bench.clock->SetAdjustment(1);
    EXPECT_THAT(bench.clock->Execute("sch", {"raw"}),
                ElementsAre("0x00000011 (divide-by-26)", "0x89ABCDEF (free run)"));
    EXPECT_THAT(bench.clock->GetConsoleCommands(false), ElementsAre("sch"));
    EXPECT_THAT(bench.clock->Execute("s", {}),
                ElementsAre("sch: Microsecond clock hardware access", "",
                            "s show            show adjustment and effective time",
                            "s raw             show register counts",
                            "s check           check against tick counter"));
}

TEST(FpgaMicrosecondClockTest, ExplainsItsCommandWhichHasNoRawCounts) {
    Bench<FpgaMicrosecondClock> bench(0);
    EXPECT_THAT(bench.io.TakeAccesses(), ElementsAre());
    EXPECT_THAT(bench.clock->GetConsoleCommands(false), ElementsAre("uclk"));
    EXPECT_THAT(bench.clock->Execute("u", {}),
                ElementsAre("uclk: FPGA Microsecond clock access", "",
                            "u show            show adjustment and effective time",
                            "u check           check against tick counter"));
    EXPECT_EQ(ThrownMessage([&] { bench.clock->Execute("uclk", {"raw"}); }),
              "\"uclk\" command has no \"raw\" subcommand");
}

}  // namespace
}  // namespace quarn
