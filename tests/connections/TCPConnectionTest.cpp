#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"

#include <gmock/gmock.h>

#include <poll.h>

namespace quarn::test {
namespace {

class Collector : public TCPConnectionReceiver {
public:
    void Receive(const void* data, size_t length) override {
        pieces.emplace_back(static_cast<const char*>(data), length);
    }
    Lines pieces;
};

TEST(TCPConnection, ConnectsAndReadsInTheSameStepAtMost4096Bytes) {
    TCPListener listener(LOOPBACK, 0);
    TCPConnection client("client", LOOPBACK, listener.GetPort());
    ASSERT_TRUE(WaitFor(listener.Socket(), POLLIN));
    const std::unique_ptr<TCPConnection> accepted(listener.Accept("accepted"));
    const std::string bytes = std::string(4096, 'a') + std::string(904, 'b');
    EXPECT_EQ(accepted->Send(bytes.data(), bytes.size()), 5000U);
    ASSERT_TRUE(WaitFor(client.Socket(), POLLIN));
    Collector collector;
    EXPECT_TRUE(client.Work(&collector));
    EXPECT_TRUE(client.IsConnected());
    EXPECT_EQ(client.GetClientID(), 0U);
    EXPECT_TRUE(client.Work(&collector));
    EXPECT_TRUE(client.Work(&collector));  // nothing there
    accepted->Send("dropped", 7);
    ASSERT_TRUE(WaitFor(client.Socket(), POLLIN));
    EXPECT_TRUE(client.Work(nullptr));
    EXPECT_TRUE(client.Work(&collector));
    EXPECT_EQ(collector.pieces, Lines({bytes.substr(0, 4096), bytes.substr(4096)}));
}

TEST(TCPConnection, EndsWhenThePeerDoes) {
    for (const bool isReset : {false, true}) {
        DebugCapture capture(DEBUG_WARN);
        Link link;
        isReset ? link.peer.Reset() : link.peer.ShutDown();
        ASSERT_TRUE(WaitFor(link.connection->Socket(), POLLIN));
        EXPECT_FALSE(link.connection->Work(nullptr));
        EXPECT_FALSE(link.connection->IsAlive());
        EXPECT_FALSE(link.connection->IsConnected());
        EXPECT_EQ(link.connection->Send("x", 1), 0U);
        EXPECT_FALSE(link.connection->Work(nullptr));
        EXPECT_GE(link.connection->Socket(), 0);  // closed by the destructor, not before
        EXPECT_EQ(capture.Lines(),
                  Lines({isReset ? "Connection \"c\": read failed: Connection reset by peer"
                                 : "Connection \"c\": zero-byte read (probably shut down by peer)",
                         "Connection \"c\": permanently disconnected"}));
    }
}

TEST(TCPConnection, SurvivesABrokenPipe) {
    DebugCapture capture(DEBUG_WARN);
    Link link;
    link.peer.Close();
    ASSERT_TRUE(WaitFor(link.connection->Socket(), POLLIN));
    EXPECT_EQ(link.connection->Send("x", 1), 1U);  // the peer's answer is a reset
    ASSERT_TRUE(Eventually([&] { return link.connection->Send("x", 1) == 0; }));
    EXPECT_FALSE(link.connection->IsAlive());
    EXPECT_EQ(capture.Lines(), Lines({"Connection \"c\": write failed: Broken pipe"}));
}

TEST(TCPConnection, SaysWhyItIsNotConnected) {
    DebugCapture capture(DEBUG_WARN);
    BusyPort port;
    TCPConnection pending("c", LOOPBACK, port.Port());
    EXPECT_TRUE(pending.Work(nullptr));
    EXPECT_TRUE(pending.IsAlive());
    EXPECT_FALSE(pending.IsConnected());
    EXPECT_EQ(pending.Send("x", 1), 0U);
    EXPECT_TRUE(Eventually([&] { return !pending.Work(nullptr); }));
    const std::string line = capture.Lines().at(0);
    EXPECT_THAT(line, testing::MatchesRegex("Connection \"c\": giving up after [1-9][0-9]{3,} ms"));

    port.StopListening();
    TCPConnection refused("r", LOOPBACK, port.Port());
    ASSERT_TRUE(WaitFor(refused.Socket(), POLLOUT));
    EXPECT_EQ(refused.Send("x", 1), 0U);  // does not take the error that the next step reports
    EXPECT_FALSE(refused.Work(nullptr));
    EXPECT_FALSE(TCPConnection("m", IPAddress("224.0.0.1"), 4711).IsAlive());
    EXPECT_EQ(capture.Lines(), Lines({line, "Connection \"r\": failed during connect: Connection refused",
                                      "Connection \"m\": failed before connect: Network is unreachable"}));
}

}  // namespace
}  // namespace quarn::test
