#include "connections/Loopback.h"

namespace quarn::test {
namespace {

struct Collector : TCPConnectionReceiver {
    void Receive(const void* data, size_t length) override {
        pieces.emplace_back(static_cast<const char*>(data), length);
    }
    Lines pieces;
};

TEST(TCPConnection, ConnectsAndReadsInTheSameStepAtMost4096Bytes) {
    TCPListener listener(LOOPBACK, 0);
    TCPConnection client("client", LOOPBACK, listener.GetPort());
    const Peer peer(listener);
    const std::string bytes = std::string(4096, 'a') + std::string(904, 'b');
    peer.Write(bytes);
    ASSERT_TRUE(WaitFor(client.Socket(), POLLIN));
    Collector collector;
    EXPECT_TRUE(client.Work(&collector));
    EXPECT_TRUE(client.IsConnected());
    EXPECT_EQ(client.GetClientID(), 0U);
    EXPECT_TRUE(client.Work(&collector));
    EXPECT_TRUE(client.Work(&collector));  // nothing there
    peer.Write("dropped");
    ASSERT_TRUE(WaitFor(client.Socket(), POLLIN));
    EXPECT_TRUE(client.Work(nullptr));
    EXPECT_TRUE(client.Work(&collector));
    EXPECT_EQ(collector.pieces, Lines({bytes.substr(0, 4096), bytes.substr(4096)}));
}

TEST(TCPConnection, EndsWhenThePeerDoes) {
    for (const std::string end : {"read failed: Connection reset by peer", "write failed: Broken pipe",
                                  "zero-byte read (probably shut down by peer)"}) {
        DebugCapture capture(DEBUG_WARN);
        Link link;
        end.starts_with("read") ? link.peer.Reset() : link.peer.Close();
        ASSERT_TRUE(WaitFor(link.connection->Socket(), POLLIN));
        if (end.starts_with("write")) {
            EXPECT_EQ(link.connection->Send("x", 1), 1U);  // the peer's answer is a reset
            EXPECT_TRUE(Eventually([&] { return link.connection->Send("x", 1) == 0; }));
        } else {
            EXPECT_FALSE(link.connection->Work(nullptr));
        }
        EXPECT_FALSE(link.connection->IsAlive());
        EXPECT_FALSE(link.connection->IsConnected());
        EXPECT_EQ(link.connection->Send("x", 1), 0U);
        EXPECT_FALSE(link.connection->Work(nullptr));
        EXPECT_GE(link.connection->Socket(), 0);  // closed by the destructor, not before
        EXPECT_EQ(capture.Lines(),
                  Lines({"Connection \"c\": " + end, "Connection \"c\": permanently disconnected"}));
    }
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

    port.StopListening();
    TCPConnection refused("r", LOOPBACK, port.Port());
    ASSERT_TRUE(WaitFor(refused.Socket(), POLLOUT));
    EXPECT_EQ(refused.Send("x", 1), 0U);  // does not take the error that the next step reports
    EXPECT_FALSE(refused.Work(nullptr));
    EXPECT_FALSE(TCPConnection("m", IPAddress("224.0.0.1"), 4711).IsAlive());
    EXPECT_THAT(
        capture.Lines(),
        testing::ElementsAre(testing::MatchesRegex("Connection \"c\": giving up after [1-9][0-9]{3,} ms"),
                             "Connection \"r\": failed during connect: Connection refused",
                             "Connection \"m\": failed before connect: Network is unreachable"));
}

}  // namespace
}  // namespace quarn::test
