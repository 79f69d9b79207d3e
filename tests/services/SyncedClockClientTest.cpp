#include <quarn/MicrosecondClockSoftware.h>
#include <quarn/MonitorException.h>
#include <quarn/SyncedClockClient.h>
#include <quarn/SyncedClockServer.h>
#include <quarn/Text.h>
#include <quarn/UDPSocket.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <list>

namespace quarn {
namespace {

using test::LOOPBACK;

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
    EXPECT_TRUE(test::Eventually([&] {
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
    // From another socket if one is given.
    void Answer(uint32_t time, UDPSocket* other = nullptr) {
        for (size_t i = 0; i < 4; ++i)
            packet[4 + i] = static_cast<uint8_t>(time >> 8 * i);
        (other ? *other : socket).Send(packet.data(), packet.size(), clientAddress, clientPort);
    }
    // Does the same to every request until the condition holds: on a busy machine an answer may take more
    // than the client's 10 ms, but not always.
    bool Meet(const std::function<void()>& act, const std::function<bool()>& holds) {
        for (int i = 0; i < 50 && !holds() && !testing::Test::HasFatalFailure(); ++i) {
            AwaitRequest();
            act();
            test::Eventually([&] { return holds() || HasRequest(); });
        }
        return holds();
    }

    UDPSocket socket{LOOPBACK, 0};
    const uint16_t port = test::PortOf(socket.Socket());
    std::array<uint8_t, 8> packet = {};
    IPAddress clientAddress;
    uint16_t clientPort = 0;
};

TEST(SyncedClockClientTest, ReportsExchangesAndGoesOnAfterFailures) {
    test::DebugCapture debug;
    DirectedClock clock;
    Peer peer;
    UDPSocket stranger(LOOPBACK, 0);
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
            EXPECT_TRUE(test::Eventually([&] { return debug.Count(missed) > before; }));
            peer.Answer(1000);
        };
        EXPECT_TRUE(
            peer.Meet(answerLate, [&] { return debug.Contains("SyncedClockClient: Discarded 1 message"); }));
        const std::string ignoring =
            Format("SyncedClockClient: Ignoring traffic from 127.0.0.1:%u", test::PortOf(stranger.Socket()));
        EXPECT_TRUE(
            peer.Meet([&] { peer.Answer(1000, &stranger); }, [&] { return debug.Contains(ignoring); }));
        EXPECT_EQ(clock.settings, 0u);

        const struct {
            uint32_t previous, time;
            const char* end;  // of the line, in front of a number that depends on the round trip
        } cases[] = {{1, 0x7000000, ", time 1174"},
                     {0, 0x7000000, " (moved ahead 1174"},
                     {0, 0x80000000, " (moved back -2147"}};
        for (const auto& c : cases) {
            clock.previous = c.previous;
            EXPECT_TRUE(
                peer.Meet([&] { peer.Answer(c.time); }, [&] { return debug.CountContaining(c.end) != 0; }))
                << c.end;
            EXPECT_LT(clock.target - c.time, 5000u);
            EXPECT_EQ(clock.previous == 0, debug.CountContaining("(moved") != 0);
        }
        EXPECT_EQ(localPort, peer.clientPort);
    }
    EXPECT_TRUE(IsFree(localPort));
}

TEST(SyncedClockClientTest, ReportsAnAddressThatIsNotLocal) {
    test::DebugCapture debug;
    DirectedClock clock;
    const SyncedClockClient client(nullptr, IPAddress("192.0.2.1"), LOOPBACK, 9, clock);
    EXPECT_EQ(client.GetLocalPort(), 0);
    EXPECT_TRUE(debug.Contains("  Failed to bind socket to 192.0.2.1: Cannot assign requested address"));
}

TEST(SyncedClockClientTest, LeavesAStuckThreadWhatItUses) {
    test::DebugCapture debug;
    DirectedClock clock;
    Peer peer;
    uint16_t localPort = 0;
    {
        const SyncedClockClient client(nullptr, LOOPBACK, LOOPBACK, peer.port, clock);
        localPort = client.GetLocalPort();
        clock.held = true;
        ASSERT_TRUE(peer.Meet([&] { peer.Answer(1); }, [&] { return clock.settings != 0; }));
    }
    EXPECT_TRUE(debug.Contains("SyncedClockClient: Timeout waiting for thread to exit on worker \"scc\""));
    EXPECT_FALSE(IsFree(localPort));
    clock.held = false;
    clock.held.notify_all();
    EXPECT_TRUE(test::Eventually([&] { return IsFree(localPort); }));
}

}  // namespace
}  // namespace quarn
