#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace quarn::test {
namespace {

struct FixedClock final : MicrosecondClock {
    uint32_t GetMicrosecondClock() const override { return 0x87654321; }
};

TEST(SyncedClockServerTest, AnswersRequestsAndSurvivesEverythingElse) {
    DebugCapture debug;
    const FixedClock clock;
    SyncedClockServer server(nullptr, LOOPBACK, 0, clock);
    server.SetDebugLevel(2);
    UDPSocket client(LOOPBACK, 0);
    const std::string request("SC\x34\x12\0\0\0\0", 8);
    for (const std::string& datagram :
         {std::string(), std::string("S"), std::string(100, 'S'), std::string(8, 'C'), request})
        client.Send(datagram.data(), datagram.size(), LOOPBACK, server.GetPort());
    std::string reply(9, '\0');
    IPAddress from;
    uint16_t fromPort = 0;
    ASSERT_TRUE(
        Eventually([&] { return client.Receive(reply.data(), reply.size(), &from, &fromPort) == 8; }));
    EXPECT_EQ(reply, std::string("SC\x34\x12\x21\x43\x65\x87\0", 9));
    EXPECT_EQ(fromPort, server.GetPort());

    const auto has = [&](const std::string& line) { return debug.Contains("SyncedClockServer: " + line); };
    EXPECT_TRUE(Eventually(
        [&] { return has(Format("Sent time 2271560481 to 127.0.0.1:%u", PortOf(client.Socket()))); }));
    for (const char* const defect :
         {"Got 0 bytes; expected 8", "Got 1 byte; expected 8", "Got 100 bytes; expected 8",
          "Bad magic number (got 0x4343, expected 0x4353)"})
        EXPECT_TRUE(has(defect)) << defect;

    const auto provided = [&](const char* count) {
        const std::list<std::string> rows =
            FormatColumnarList({{"Time (us)", "2271560481"}, {"Updates Provided", count}});
        std::list<std::string> lines;
        server.ReportStatistics(lines);
        return lines.size() > 2 && std::equal(rows.rbegin(), rows.rend(), lines.rbegin());
    };
    EXPECT_TRUE(Eventually([&] { return provided("1"); }));
    Worker::ClearAllWorkerStatistics();
    EXPECT_TRUE(provided("0"));
}

TEST(SyncedClockServerTest, ReportsAPortThatIsTakenAndFreesItsOwn) {
    DebugCapture debug;
    const FixedClock clock;
    auto first = std::make_unique<SyncedClockServer>(nullptr, LOOPBACK, 0, clock);
    const uint16_t port = first->GetPort();
    EXPECT_EQ(SyncedClockServer(nullptr, LOOPBACK, port, clock).GetPort(), 0);
    EXPECT_TRUE(
        debug.Contains(Format("  Failed to bind socket to 127.0.0.1:%u: Address already in use", port)));
    first.reset();
    const SyncedClockServer choosy(nullptr, LOOPBACK, port, clock, SomebodyElse());
    EXPECT_EQ(choosy.GetPort(), port);
    UDPSocket stranger(LOOPBACK, 0);
    stranger.Send("SC\0\0\0\0\0", 8, LOOPBACK, port);
    EXPECT_TRUE(Eventually([&] {
        return debug.Contains(
            Format("SyncedClockServer: Turned away 127.0.0.1:%u, which is not an allowed peer",
                   PortOf(stranger.Socket())));
    }));
}

}  // namespace
}  // namespace quarn::test
