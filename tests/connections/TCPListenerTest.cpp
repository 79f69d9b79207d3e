#include "connections/Loopback.h"
#include "support/Resources.h"

#include <fcntl.h>
#include <netinet/tcp.h>

namespace quarn::test {

TEST(TCPListener, NumbersAndNamesWhatItAccepts) {
    DebugCapture debug;
    TCPListener listener(LOOPBACK, 0);
    EXPECT_EQ(listener.Accept("x"), nullptr);
    for (uint32_t id = 1; id <= 3; ++id) {
        const Peer peer(listener.GetPort());
        ASSERT_TRUE(WaitFor(listener.Socket(), POLLIN));
        const std::unique_ptr<TCPConnection> connection(listener.Accept("$peer$ bulk ($peer$) $peer"));
        const std::string address = Format("127.0.0.1:%u", peer.LocalPort());
        EXPECT_EQ(connection->GetName(), address + " bulk (" + address + ") $peer");
        EXPECT_EQ(connection->GetClientID(), id);
        EXPECT_TRUE(connection->IsConnected());
    }
    listener.SetAllowedPeers(SomebodyElse());
    const Peer peer(listener.GetPort());
    ASSERT_TRUE(WaitFor(listener.Socket(), POLLIN));
    EXPECT_EQ(listener.Accept("x"), nullptr);
    EXPECT_EQ(debug.Lines(),
              Lines{Format("TCPListener: Turned away 127.0.0.1:%u, which is not an allowed peer",
                           peer.LocalPort())});
}

TEST(TCPListener, EverySocketIsClosedOnExecNonBlockingAndPrompt) {
    Link link;
    TCPConnection client("client", LOOPBACK, link.listener.GetPort());
    UDPSocket datagrams(LOOPBACK, 0);
    for (const int fd :
         {link.listener.Socket(), link.connection->Socket(), client.Socket(), datagrams.Socket()}) {
        EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(fcntl(fd, F_GETFL), O_RDWR | O_NONBLOCK);
        int noDelay = 1;
        socklen_t length = sizeof noDelay;
        getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &noDelay, &length);
        EXPECT_EQ(noDelay, 1);
    }
}

TEST(TCPListener, TenThousandConnectionsLeakNothing) {
    TCPListener listener(LOOPBACK, 0);
    const size_t before = CountDescriptors();
    for (int i = 0; i < 10000; ++i) {
        TCPConnection client("client", LOOPBACK, listener.GetPort());
        ASSERT_TRUE(WaitFor(listener.Socket(), POLLIN));
        const std::unique_ptr<TCPConnection> accepted(listener.Accept("$peer$"));
        ASSERT_TRUE(accepted);
        const linger reset = {1, 0};  // leaves the ephemeral ports free
        setsockopt(client.Socket(), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    }
    EXPECT_EQ(CountDescriptors(), before);
}

TEST(TCPListener, ConstructorsThatFailLeakNothing) {
    TCPListener listener(LOOPBACK, 0);
    const size_t before = CountDescriptors();
    TCPListener(LOOPBACK, listener.GetPort());  // both kinds of re-use are on
    const std::string message = ThrownMessage([] { TCPListener(IPAddress("192.0.2.1"), 4711); });
    EXPECT_EQ(message.substr(message.find(' ')),
              " 0.0.0.0:0: Failed to bind to 192.0.2.1:4711: Cannot assign requested address");
    EXPECT_EQ(ThrownMessage([] { UDPSocket(IPAddress("192.0.2.1"), 4711); }),
              "Failed to bind socket to 192.0.2.1:4711: Cannot assign requested address");
    const auto adopt = [] { TCPConnection("c", 1, open("/dev/null", O_RDWR | O_CLOEXEC)); };
    EXPECT_EQ(ThrownMessage(adopt), "getsockname failed: Socket operation on non-socket");
    EXPECT_EQ(CountDescriptors(), before);
}

}  // namespace quarn::test
