#include "services/PeerScript.h"

#include <atomic>
#include <cstdlib>

namespace quarn::test {
namespace {

// Stands still. Setting it can be held up.
struct StandingClock final : SettableMicrosecondClock {
    explicit StandingClock(uint32_t fixed) : time(fixed) {}
    uint32_t GetMicrosecondClock() const override { return time; }
    uint32_t SetMicrosecondClock(uint32_t target) override {
        if (!firstTarget)
            firstTarget = target;
        held.wait(true);
        return time;
    }
    uint32_t GetAdjustment() const override { return 0; }

    const uint32_t time;
    std::atomic<uint32_t> firstTarget{0};
    std::atomic<bool> held{false};
};

// The rows of a service's own, which end its statistics.
template <class Service>
bool Reports(Service& service, const std::list<std::list<std::string>>& cells) {
    std::list<std::string> lines, rows = FormatColumnarList(cells);
    service.ReportStatistics(lines);
    return std::equal(rows.rbegin(), rows.rend(), lines.rbegin());
}

struct SyncedClockTest : testing::Test {
    SyncedClockTest() { levels.SetDebugLevel(2); }

    DebugCapture debug;
    Debuggable levels{nullptr};
    UDPSocket socket{LOOPBACK, 0};
};

TEST_F(SyncedClockTest, ClocksComeIntoStep) {
    MicrosecondClockSoftware serverClock, clientClock;
    serverClock.SetAdjustment(0x9ABCDEF0);
    const SyncedClockServer server(nullptr, LOOPBACK, 0, serverClock);
    const SyncedClockClient client(&levels, LOOPBACK, LOOPBACK, server.GetPort(), clientClock);
    // Half of the 10 ms that a round trip may take is the most that the two can differ by.
    EXPECT_TRUE(Eventually([&] {
        return std::abs(static_cast<int32_t>(clientClock.GetAdjustment() - serverClock.GetAdjustment())) <
               5000;
    }));
    EXPECT_TRUE(debug.Contains(
        Format("SyncedClockClient: Created local socket 127.0.0.1:%u", client.GetLocalPort())));
    EXPECT_TRUE(Eventually([&] {  // what comes while an answer is awaited is not late
        const size_t trips = debug.CountContaining("Trip RTT");
        socket.Send("late", 4, LOOPBACK, client.GetLocalPort());
        return Eventually([&] { return debug.CountContaining("Trip RTT") > trips; }) &&
               debug.Contains("SyncedClockClient: Discarded 1 message");
    }));
}

TEST_F(SyncedClockTest, AMoveIsToldOnlyOfAClockThatStoodAt0) {
    // The previous time, the one that is answered, and where the clock was moved.
    const std::tuple<uint32_t, uint32_t, std::string> cases[] = {
        {1, 0x7000000, ""}, {0, 0x7000000, "ahead"}, {0, 0x80000000, "back"}};
    for (const auto& [previous, time, moved] : cases) {
        const size_t trips = debug.CountContaining("Trip RTT");
        StandingClock clock(previous);
        const StandingClock serverClock(time);
        const SyncedClockServer server(nullptr, LOOPBACK, 0, serverClock);
        SyncedClockClient client(&levels, LOOPBACK, LOOPBACK, server.GetPort(), clock);
        EXPECT_TRUE(Reports(client, {{"Time (us)", std::to_string(previous)},
                                     {"Peer", Format("127.0.0.1:%u", server.GetPort())},
                                     {"Attempted Updates", "0"},
                                     {"Successful Updates", "0"}}));
        EXPECT_TRUE(Eventually([&] { return debug.CountContaining("Trip RTT") > trips; }));
        std::string line =
            Format(".*: Trip RTT [0-9]+ us, average RTT [0-9]+ us, time %u", clock.firstTarget.load());
        if (!moved.empty())
            line += Format(" .moved %s %d us.", moved.c_str(), static_cast<int32_t>(clock.firstTarget));
        EXPECT_THAT(debug.Lines(), testing::Contains(testing::MatchesRegex(line)));
    }
}

TEST_F(SyncedClockTest, TheServerAnswersRequestsAndSurvivesEverythingElse) {
    const StandingClock clock(0x87654321);
    SyncedClockServer server(&levels, LOOPBACK, 0, clock);
    const std::string request("SC\x34\x12\0\0\0\0", 8);
    for (const std::string& datagram :
         {std::string(), std::string("S"), std::string(100, 'S'), std::string(8, 'C'), request})
        socket.Send(datagram.data(), datagram.size(), LOOPBACK, server.GetPort());
    std::string reply(9, '\0');
    ASSERT_TRUE(Eventually([&] { return socket.Receive(reply.data(), 9, nullptr, nullptr) == 8; }));
    EXPECT_EQ(reply, std::string("SC\x34\x12\x21\x43\x65\x87\0", 9));
    EXPECT_TRUE(Eventually([&] {
        return Reports(server, {{"Time (us)", "2271560481"}, {"Updates Provided", "1"}});
    }));
    EXPECT_THAT(
        debug.Lines(),
        testing::IsSupersetOf(Lines{
            "SyncedClockServer: Got 0 bytes; expected 8", "SyncedClockServer: Got 1 byte; expected 8",
            "SyncedClockServer: Got 100 bytes; expected 8",
            "SyncedClockServer: Bad magic number (got 0x4343, expected 0x4353)",
            Format("SyncedClockServer: Sent time 2271560481 to 127.0.0.1:%u", PortOf(socket.Socket()))}));
    Worker::ClearAllWorkerStatistics();
    EXPECT_TRUE(Reports(server, {{"Time (us)", "2271560481"}, {"Updates Provided", "0"}}));
}

TEST_F(SyncedClockTest, WhatCannotBeBoundIsReportedAndStrangersAreTurnedAway) {
    StandingClock clock(0);
    auto first = std::make_unique<SyncedClockServer>(nullptr, LOOPBACK, 0, clock);
    const uint16_t port = first->GetPort();
    EXPECT_EQ(SyncedClockServer(nullptr, LOOPBACK, port, clock).GetPort(), 0);
    EXPECT_EQ(SyncedClockClient(nullptr, IPAddress("192.0.2.1"), LOOPBACK, port, clock).GetLocalPort(), 0);
    EXPECT_TRUE(
        debug.Contains(Format("  Failed to bind socket to 127.0.0.1:%u: Address already in use", port)));
    EXPECT_TRUE(debug.Contains("  Failed to bind socket to 192.0.2.1: Cannot assign requested address"));
    first.reset();
    const SyncedClockServer choosy(nullptr, LOOPBACK, port, clock, SomebodyElse());
    EXPECT_EQ(choosy.GetPort(), port);
    socket.Send("SC\0\0\0\0\0", 8, LOOPBACK, port);
    EXPECT_TRUE(Eventually([&] {
        return debug.Contains(
            Format("SyncedClockServer: Turned away 127.0.0.1:%u, which is not an allowed peer",
                   PortOf(socket.Socket())));
    }));
}

TEST_F(SyncedClockTest, AStuckThreadKeepsWhatItUses) {
    // Never destroyed: the abandoned thread uses its clock for as long as it likes.
    static auto& clocks = *new std::list<StandingClock>;
    StandingClock& clock = clocks.emplace_back(1);
    clock.held = true;
    const SyncedClockServer server(nullptr, LOOPBACK, 0, clock);
    uint16_t localPort = 0;
    {
        const SyncedClockClient client(nullptr, LOOPBACK, LOOPBACK, server.GetPort(), clock);
        localPort = client.GetLocalPort();
        ASSERT_TRUE(Eventually([&] { return clock.firstTarget != 0; }));
    }
    EXPECT_EQ(debug.CountContaining("SyncedClockClient: Timeout waiting for thread to exit on worker \"scc"),
              1U);
    const auto isTaken = [&] {
        return ThrownMessage([&] { UDPSocket(LOOPBACK, localPort); }) ==
               Format("Failed to bind socket to 127.0.0.1:%u: Address already in use", localPort);
    };
    EXPECT_TRUE(isTaken());
    clock.held = false;
    clock.held.notify_all();
    EXPECT_TRUE(Eventually([&] { return !isTaken(); }));
}

}  // namespace
}  // namespace quarn::test
