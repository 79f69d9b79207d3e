#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <list>

namespace quarn::test {
namespace {

struct FixedClock final : MicrosecondClock {
    explicit FixedClock(uint32_t fixed) : time(fixed) {}
    uint32_t GetMicrosecondClock() const override { return time; }

    const uint32_t time;
};

// A clock whose SetMicrosecondClock() returns what a test wants, when it wants.
struct DirectedClock final : SettableMicrosecondClock {
    uint32_t GetMicrosecondClock() const override { return 0; }
    uint32_t SetMicrosecondClock(uint32_t) override {
        isSet = true;
        held.wait(true);
        return previous;
    }
    uint32_t GetAdjustment() const override { return 0; }

    uint32_t previous = 0;
    std::atomic<bool> isSet{false}, held{false};
};

TEST(SyncedClockClientTest, BringsAClockIntoStepWithAServers) {
    MicrosecondClockSoftware serverClock, clientClock;
    serverClock.SetAdjustment(0x9ABCDEF0);
    const SyncedClockServer server(nullptr, LOOPBACK, 0, serverClock);
    SyncedClockClient client(nullptr, LOOPBACK, LOOPBACK, server.GetPort(), clientClock);
    // Half of the 10 ms that a round trip may take is the most that the two can differ by.
    EXPECT_TRUE(Eventually([&] {
        const auto offset = static_cast<int32_t>(clientClock.GetAdjustment() - serverClock.GetAdjustment());
        return std::abs(offset) < 5000;
    }));

    std::list<std::string> lines;
    client.ReportStatistics(lines);
    const std::list<std::string> rows =
        FormatColumnarList({{"Peer", Format("127.0.0.1:%u", server.GetPort())},
                            {"Attempted Updates", "0"},
                            {"Successful Updates", "0"}});
    EXPECT_TRUE(std::equal(rows.rbegin(), rows.rend(), lines.rbegin()));
    EXPECT_TRUE(std::next(lines.rbegin(), 3)->starts_with("Time (us)"));
}

TEST(SyncedClockClientTest, TellsOfAMoveOnlyOfAClockThatStoodAt0) {
    // The previous time, the one that is answered, and where the clock was moved.
    const std::tuple<uint32_t, uint32_t, const char*> cases[] = {
        {1, 0x7000000, ""}, {0, 0x7000000, "ahead"}, {0, 0x80000000, "back"}};
    for (const auto& [previous, time, moved] : cases) {
        DebugCapture debug;
        Debuggable parent(nullptr);
        parent.SetDebugLevel(2);
        DirectedClock clock;
        clock.previous = previous;
        const FixedClock serverClock(time);
        const SyncedClockServer server(nullptr, LOOPBACK, 0, serverClock);
        const SyncedClockClient client(&parent, LOOPBACK, LOOPBACK, server.GetPort(), clock);
        std::string line;
        ASSERT_TRUE(Eventually([&] {
            for (const std::string& printed : debug.Lines())
                if (line.empty() && printed.starts_with("SyncedClockClient: Trip RTT "))
                    line = printed;
            return !line.empty();
        }));
        const uint32_t trip = ParseU32(line.substr(28, line.find(" us,") - 28), 0), target = time + trip / 2;
        EXPECT_EQ(
            line,
            Format("SyncedClockClient: Trip RTT %u us, average RTT %u us, time %u", trip, trip, target) +
                (previous != 0 ? "" : Format(" (moved %s %d us)", moved, static_cast<int32_t>(target))));
        EXPECT_TRUE(debug.Contains(
            Format("SyncedClockClient: Created local socket 127.0.0.1:%u", client.GetLocalPort())));
        UDPSocket stranger(LOOPBACK, 0);
        EXPECT_TRUE(Eventually([&] {  // one that comes while an answer is awaited is no late one
            const size_t trips = debug.CountContaining("Trip RTT");
            stranger.Send("late", 4, LOOPBACK, client.GetLocalPort());
            return Eventually([&] { return debug.CountContaining("Trip RTT") > trips; }) &&
                   debug.Contains("SyncedClockClient: Discarded 1 message");
        }));
    }
}

TEST(SyncedClockClientTest, ReportsAnAddressThatIsNotLocal) {
    DebugCapture debug;
    DirectedClock clock;
    const SyncedClockClient client(nullptr, IPAddress("192.0.2.1"), LOOPBACK, 9, clock);
    EXPECT_EQ(client.GetLocalPort(), 0);
    EXPECT_TRUE(debug.Contains("  Failed to bind socket to 192.0.2.1: Cannot assign requested address"));
}

TEST(SyncedClockClientTest, LeavesAStuckThreadWhatItUses) {
    // Never destroyed: the abandoned thread uses its clock for as long as it likes.
    static auto& clocks = *new std::list<DirectedClock>;
    DirectedClock& clock = clocks.emplace_back();
    clock.held = true;
    DebugCapture debug;
    const FixedClock serverClock(1);
    const SyncedClockServer server(nullptr, LOOPBACK, 0, serverClock);
    uint16_t localPort = 0;
    {
        const SyncedClockClient client(nullptr, LOOPBACK, LOOPBACK, server.GetPort(), clock);
        localPort = client.GetLocalPort();
        ASSERT_TRUE(Eventually([&] { return clock.isSet.load(); }));
    }
    EXPECT_EQ(debug.CountContaining("SyncedClockClient: Timeout waiting for thread to exit on worker \"scc"),
              1U);
    const auto bind = [&] { UDPSocket(LOOPBACK, localPort); };
    const std::string taken =
        Format("Failed to bind socket to 127.0.0.1:%u: Address already in use", localPort);
    EXPECT_EQ(ThrownMessage(bind), taken);
    clock.held = false;
    clock.held.notify_all();
    EXPECT_TRUE(Eventually([&] { return ThrownMessage(bind) != taken; }));
}

}  // namespace
}  // namespace quarn::test
