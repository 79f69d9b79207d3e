#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <stdio.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <list>

namespace quarn::test {
namespace {

bool IsFree(uint16_t port) {
    try {
        UDPSocket(LOOPBACK, port);
        return true;
    } catch (const MonitorException&) {
        return false;
    }
}

TEST(SyncedClockClientTest, BringsAClockIntoStepWithAServers) {
    MicrosecondClockSoftware serverClock, clientClock;
    serverClock.SetAdjustment(0x9ABCDEF0);
    const SyncedClockServer server(nullptr, LOOPBACK, 0, serverClock);
    SyncedClockClient client(nullptr, LOOPBACK, LOOPBACK, server.GetPort(), clientClock);
    EXPECT_EQ(client.GetLocalIPAddress(), LOOPBACK);
    EXPECT_EQ(client.GetPeerIPAddress(), LOOPBACK);
    EXPECT_EQ(client.GetPeerPort(), server.GetPort());
    // Half of the 10 ms that a round trip may take is the most that the two can differ by.
    EXPECT_TRUE(Eventually([&] {
        const auto offset = static_cast<int32_t>(clientClock.GetAdjustment() - serverClock.GetAdjustment());
        return std::abs(offset) < 5000;
    }));

    std::list<std::string> lines;
    client.ReportStatistics(lines);
    const std::list<std::string> rows =
        FormatColumnarList({{"Time (us)", "0"},
                            {"Peer", Format("127.0.0.1:%u", server.GetPort())},
                            {"Attempted Updates", "0"},
                            {"Successful Updates", "0"}});
    ASSERT_GT(lines.size(), rows.size());
    const auto extras = std::prev(lines.end(), static_cast<ptrdiff_t>(rows.size()));
    EXPECT_TRUE(extras->starts_with("Time (us)"));
    EXPECT_TRUE(std::equal(std::next(rows.begin()), rows.end(), std::next(extras)));
}

// A clock whose SetMicrosecondClock() returns what a test wants, when it wants.
struct DirectedClock final : SettableMicrosecondClock {
    uint32_t GetMicrosecondClock() const override { return 0; }
    uint32_t SetMicrosecondClock(uint32_t time) override {
        target = time;
        ++settings;
        held.wait(true);
        return previous;
    }
    uint32_t GetAdjustment() const override { return 0; }

    std::atomic<uint32_t> target{0};
    std::atomic<uint32_t> settings{0};
    std::atomic<uint32_t> previous{0};
    std::atomic<bool> held{false};
};

// The server's end, in the test's own hands.
struct Peer {
    void AwaitRequest() {
        pollfd waiting = {socket.Socket(), POLLIN, 0};
        ASSERT_EQ(poll(&waiting, 1, 20000), 1);
        ASSERT_EQ(socket.Receive(packet.data(), packet.size(), &clientAddress, &clientPort), packet.size());
    }
    bool HasRequest() {
        pollfd waiting = {socket.Socket(), POLLIN, 0};
        return poll(&waiting, 1, 0) == 1;
    }
    void Answer(uint32_t time) {
        for (size_t i = 0; i < 4; ++i)
            packet[4 + i] = static_cast<uint8_t>(time >> 8 * i);
        socket.Send(packet.data(), packet.size(), clientAddress, clientPort);
    }
    // Does the same to every request until the condition holds: on a busy machine an answer may take more
    // than the client's 10 ms, but not always.
    bool Meet(const std::function<void()>& act, const std::function<bool()>& holds) {
        for (int i = 0; i < 50 && !holds() && !testing::Test::HasFatalFailure(); ++i) {
            AwaitRequest();
            act();
            Eventually([&] { return holds() || HasRequest(); });
        }
        return holds();
    }

    UDPSocket socket{LOOPBACK, 0};
    const uint16_t port = PortOf(socket.Socket());
    std::array<uint8_t, 8> packet = {};
    IPAddress clientAddress;
    uint16_t clientPort = 0;
};

TEST(SyncedClockClientTest, ReportsExchangesAndGoesOnAfterFailures) {
    DebugCapture debug;
    DirectedClock clock;
    Peer peer;
    Debuggable parent(nullptr);
    parent.SetDebugLevel(2);
    uint16_t localPort = 0;
    {
        const SyncedClockClient client(&parent, LOOPBACK, LOOPBACK, peer.port, clock);
        localPort = client.GetLocalPort();
        EXPECT_TRUE(
            debug.Contains(Format("SyncedClockClient: Created local socket 127.0.0.1:%u", localPort)));
        const auto answerLate = [&] {
            const char* const missed = "SyncedClockClient: No response from server within 10ms";
            const size_t before = debug.Count(missed);
            EXPECT_TRUE(Eventually([&] { return debug.Count(missed) > before; }));
            peer.Answer(1000);
        };
        EXPECT_TRUE(
            peer.Meet(answerLate, [&] { return debug.Contains("SyncedClockClient: Discarded 1 message"); }));
        EXPECT_EQ(clock.settings, 0u);

        // The previous time, the one that is answered, and where the clock was moved.
        const std::tuple<uint32_t, uint32_t, const char*> cases[] = {
            {1, 0x7000000, ""}, {0, 0x7000000, "ahead"}, {0, 0x80000000, "back"}};
        for (const auto& [previous, time, moved] : cases) {
            clock.previous = previous;
            const size_t before = debug.CountContaining("Trip RTT");
            ASSERT_TRUE(peer.Meet([&, t = time] { peer.Answer(t); },
                                  [&] { return debug.CountContaining("Trip RTT") > before; }));
            Lines lines = debug.Lines();
            std::erase_if(lines, [](const std::string& line) { return line.find("Trip RTT") == line.npos; });
            uint32_t trip = 0, average = 0;
            sscanf(lines.back().c_str(), "SyncedClockClient: Trip RTT %u us, average RTT %u", &trip,
                   &average);
            const uint32_t target = time + average / 2;
            EXPECT_EQ(clock.target, target);
            EXPECT_EQ(
                lines.back(),
                Format("SyncedClockClient: Trip RTT %u us, average RTT %u us, time %u", trip, average,
                       target) +
                    (previous != 0 ? "" : Format(" (moved %s %d us)", moved, static_cast<int32_t>(target))));
        }
        EXPECT_EQ(localPort, peer.clientPort);
    }
    EXPECT_TRUE(IsFree(localPort));
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
    DebugCapture debug;
    DirectedClock& clock = clocks.emplace_back();
    Peer peer;
    uint16_t localPort = 0;
    {
        const SyncedClockClient client(nullptr, LOOPBACK, LOOPBACK, peer.port, clock);
        localPort = client.GetLocalPort();
        clock.held = true;
        ASSERT_TRUE(peer.Meet([&] { peer.Answer(1); }, [&] { return clock.settings != 0; }));
    }
    EXPECT_EQ(debug.CountContaining("SyncedClockClient: Timeout waiting for thread to exit on worker \"scc"),
              1u);
    EXPECT_FALSE(IsFree(localPort));
    clock.held = false;
    clock.held.notify_all();
    EXPECT_TRUE(Eventually([&] { return IsFree(localPort); }));
}

}  // namespace
}  // namespace quarn::test
