#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <list>
#include <vector>

namespace quarn::test {
namespace {

using Bytes = std::vector<uint8_t>;

struct FixedClock final : MicrosecondClock {
    uint32_t GetMicrosecondClock() const override { return 0x87654321; }
};

Bytes Request(uint16_t sequence) {
    return {'S', 'C', static_cast<uint8_t>(sequence), static_cast<uint8_t>(sequence >> 8), 0, 0, 0, 0};
}

TEST(SyncedClockServerTest, AnswersRequestsAndSurvivesEverythingElse) {
    DebugCapture debug;
    const FixedClock clock;
    Debuggable parent(nullptr);
    SyncedClockServer server(&parent, LOOPBACK, 0, clock);
    ASSERT_NE(server.GetPort(), 0);
    EXPECT_EQ(server.GetIPAddress(), LOOPBACK);
    server.SetDebugLevel(2);
    EXPECT_EQ(parent.GetDebugLevel(), 2u);

    UDPSocket client(LOOPBACK, 0);
    const std::vector<Bytes> bad = {{}, {'S'}, {'S', 'C', 1, 0, 0, 0, 0}, Bytes(100, 'S'), Bytes(8, 'C')};
    for (const Bytes& datagram : bad)
        client.Send(datagram.data(), datagram.size(), LOOPBACK, server.GetPort());
    for (const uint16_t sequence : {uint16_t{0x1234}, uint16_t{0xFFFF}}) {
        const Bytes request = Request(sequence);
        client.Send(request.data(), request.size(), LOOPBACK, server.GetPort());
        Bytes reply(9);
        size_t length = 0;
        IPAddress from;
        uint16_t fromPort = 0;
        ASSERT_TRUE(Eventually(
            [&] { return (length = client.Receive(reply.data(), reply.size(), &from, &fromPort)) != 0; }));
        reply.resize(length);
        EXPECT_EQ(reply, (Bytes{'S', 'C', request[2], request[3], 0x21, 0x43, 0x65, 0x87}));
        EXPECT_EQ(from, LOOPBACK);
        EXPECT_EQ(fromPort, server.GetPort());
    }

    const auto provided = [&](const char* count) {
        const std::list<std::string> rows =
            FormatColumnarList({{"Time (us)", "2271560481"}, {"Updates Provided", count}});
        std::list<std::string> lines;
        server.ReportStatistics(lines);
        return lines.size() > 2 && std::equal(rows.rbegin(), rows.rend(), lines.rbegin());
    };
    EXPECT_TRUE(Eventually([&] { return provided("2"); }));
    Worker::ClearAllWorkerStatistics();
    EXPECT_TRUE(provided("0"));

    Lines printed = debug.Lines();
    std::erase_if(printed, [](const std::string& line) { return !line.starts_with("SyncedClockServer: "); });
    const std::string sent =
        Format("SyncedClockServer: Sent time 2271560481 to 127.0.0.1:%u", PortOf(client.Socket()));
    EXPECT_EQ(
        printed,
        (Lines{"SyncedClockServer: Got 0 bytes; expected 8", "SyncedClockServer: Got 1 byte; expected 8",
               "SyncedClockServer: Got 7 bytes; expected 8", "SyncedClockServer: Got 100 bytes; expected 8",
               "SyncedClockServer: Bad magic number (got 0x4343, expected 0x4353)", sent, sent}));
}

TEST(SyncedClockServerTest, ReportsAPortThatIsTakenAndFreesItsOwn) {
    DebugCapture debug;
    const FixedClock clock;
    uint16_t port = 0;
    {
        const SyncedClockServer first(nullptr, LOOPBACK, 0, clock);
        port = first.GetPort();
        const SyncedClockServer second(nullptr, LOOPBACK, port, clock);
        EXPECT_EQ(second.GetPort(), 0);
        EXPECT_TRUE(debug.Contains("Worker \"scs-1\" raised exception"));
        EXPECT_TRUE(
            debug.Contains(Format("  Failed to bind socket to 127.0.0.1:%u: Address already in use", port)));
    }
    const SyncedClockServer third(nullptr, LOOPBACK, port, clock);
    EXPECT_EQ(third.GetPort(), port);
    EXPECT_EQ(debug.CountContaining("waitable set"), 0u);
}

}  // namespace
}  // namespace quarn::test
