#include <quarn/SocketUtilities.h>
#include <quarn/TCPConnection.h>
#include <quarn/TCPConnectionReceiver.h>
#include <quarn/TCPSocket.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <stdlib.h>

#include <vector>

namespace quarn::test {
namespace {

const std::string kGone = "Connection \"c\": permanently disconnected";

class Collector : public TCPConnectionReceiver {
public:
    void Receive(const void* data, size_t length) override {
        pieces.emplace_back(static_cast<const char*>(data), length);
    }
    Lines pieces;
};

TEST(TCPConnection, ReadsAtMost4096BytesAStep) {
    Link link;
    Collector collector;
    EXPECT_TRUE(link.connection->Work(&collector));  // nothing there
    const std::string bytes = std::string(4096, 'a') + std::string(904, 'b');
    link.Send(bytes);
    EXPECT_TRUE(link.connection->Work(&collector));
    EXPECT_TRUE(link.connection->Work(&collector));
    EXPECT_EQ(collector.pieces, Lines({bytes.substr(0, 4096), bytes.substr(4096)}));
    link.Send("dropped");
    EXPECT_TRUE(link.connection->Work(nullptr));
    EXPECT_TRUE(link.connection->Work(&collector));
    EXPECT_EQ(collector.pieces.size(), 2U);
}

TEST(TCPConnection, EndsWhenThePeerDoes) {
    const std::pair<void (*)(Peer&), const char*> cases[] = {
        {[](Peer& peer) { peer.ShutDown(); },
         "Connection \"c\": zero-byte read (probably shut down by peer)"},
        {[](Peer& peer) { peer.Reset(); }, "Connection \"c\": read failed: Connection reset by peer"},
    };
    for (const auto& [end, line] : cases) {
        DebugCapture capture(DEBUG_WARN);
        Link link;
        end(link.peer);
        ASSERT_TRUE(WaitFor(link.connection->Socket(), POLLIN));
        EXPECT_FALSE(link.connection->Work(nullptr));
        EXPECT_FALSE(link.connection->IsAlive());
        EXPECT_FALSE(link.connection->IsConnected());
        EXPECT_EQ(link.connection->Send("x", 1), 0U);
        EXPECT_FALSE(link.connection->Work(nullptr));
        EXPECT_GE(link.connection->Socket(), 0);  // closed by the destructor, not before
        EXPECT_EQ(capture.Lines(), Lines({line, kGone}));
    }
}

TEST(TCPConnection, WritesPartlyAndSurvivesABrokenPipe) {
    DebugCapture capture(DEBUG_WARN);
    Link link;
    const std::string block(16 * 1024 * 1024, 'x');
    const size_t sent = link.connection->Send(block.data(), block.size());
    EXPECT_GT(sent, 0U);
    EXPECT_LT(sent, block.size());
    while (link.connection->Send(block.data(), block.size()) > 0) {
    }
    EXPECT_TRUE(link.connection->IsAlive());

    Link broken;
    broken.peer.Close();
    ASSERT_TRUE(WaitFor(broken.connection->Socket(), POLLIN));
    EXPECT_EQ(broken.connection->Send("x", 1), 1U);  // the peer's answer is a reset
    ASSERT_TRUE(WaitFor(broken.connection->Socket(), POLLERR));
    ASSERT_TRUE(Eventually([&] { return broken.connection->Send("x", 1) == 0; }));
    EXPECT_FALSE(broken.connection->IsAlive());
    EXPECT_EQ(capture.Lines(), Lines({"Connection \"c\": write failed: Broken pipe"}));
}

TEST(TCPConnection, ConnectsOrIsRefusedAtOnce) {
    DebugCapture capture(DEBUG_WARN);
    BusyPort closed;
    closed.StopListening();
    TCPConnection refused("c", LOOPBACK, closed.Port());
    while (refused.Work(nullptr))
        ASSERT_TRUE(WaitFor(refused.Socket(), POLLOUT));
    EXPECT_FALSE(refused.IsAlive());
    const Lines lines = capture.Lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(lines[0] == "Connection \"c\": failed before connect: Connection refused" ||
                lines[0] == "Connection \"c\": failed during connect: Connection refused")
        << lines[0];

    TCPListener listener(LOOPBACK, 0);
    TCPConnection client("client", LOOPBACK, listener.GetPort());
    ASSERT_TRUE(WaitFor(client.Socket(), POLLOUT));
    EXPECT_TRUE(client.Work(nullptr));
    EXPECT_TRUE(client.IsConnected());
    EXPECT_EQ(client.GetClientID(), 0U);
}

// The system tries a pending connect again after about a second.
TEST(TCPConnection, ConnectsLateAndReadsInTheSameStep) {
    BusyPort port;
    TCPConnection connection("c", LOOPBACK, port.Port());
    EXPECT_TRUE(connection.Work(nullptr));
    EXPECT_TRUE(connection.IsAlive());
    EXPECT_FALSE(connection.IsConnected());
    EXPECT_EQ(connection.Send("x", 1), 0U);
    const std::unique_ptr<TCPConnection> accepted = port.AcceptNext();
    ASSERT_EQ(accepted->Send("hello", 5), 5U);
    ASSERT_TRUE(WaitFor(connection.Socket(), POLLIN));
    Collector collector;
    EXPECT_TRUE(connection.Work(&collector));
    EXPECT_TRUE(connection.IsConnected());
    EXPECT_EQ(collector.pieces, Lines({"hello"}));
}

TEST(TCPConnection, IsRefusedLate) {
    DebugCapture capture(DEBUG_WARN);
    BusyPort port;
    TCPConnection connection("c", LOOPBACK, port.Port());
    port.StopListening();
    ASSERT_TRUE(WaitFor(connection.Socket(), POLLOUT));
    EXPECT_EQ(connection.Send("x", 1), 0U);  // does not take the error that the next step reports
    EXPECT_FALSE(connection.Work(nullptr));
    EXPECT_FALSE(connection.Work(nullptr));
    EXPECT_EQ(capture.Lines(), Lines({"Connection \"c\": failed during connect: Connection refused", kGone}));
}

TEST(TCPConnection, GivesUpConnectingAfterASecond) {
    DebugCapture capture(DEBUG_WARN);
    BusyPort port;
    TCPConnection connection("c", LOOPBACK, port.Port());
    EXPECT_TRUE(Eventually([&] { return !connection.Work(nullptr); }));
    const Lines lines = capture.Lines();
    ASSERT_EQ(lines.size(), 1U);
    const long waited = strtol(lines[0].c_str() + lines[0].rfind("after ") + 6, nullptr, 10);
    EXPECT_GT(waited, 1000);
    EXPECT_EQ(lines[0], "Connection \"c\": giving up after " + std::to_string(waited) + " ms");
}

TEST(TCPSocket, TellsItsPendingErrorOnce) {
    Link link;
    link.peer.Reset();
    ASSERT_TRUE(WaitFor(link.connection->Socket(), POLLERR));
    TCPSocket same(dup(link.connection->Socket()));
    EXPECT_EQ(same.ErrorCheck(), ECONNRESET);
    EXPECT_EQ(same.ErrorCheck(), 0);
    EXPECT_EQ(same.Describe(), SocketUtilities::Describe(same.Socket()));

    TCPSocket uncreated(-1);
    EXPECT_EQ(ThrownMessage([&] { uncreated.ErrorCheck(); }), "Calling ErrorCheck on uncreated TCPSocket");
    EXPECT_EQ(uncreated.Describe(), "[no socket]");
    EXPECT_FALSE(uncreated.SocketWritable());
}

}  // namespace
}  // namespace quarn::test
