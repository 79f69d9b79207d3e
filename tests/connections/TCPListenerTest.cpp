#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/CountDescriptors.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quarn::test {
namespace {

TEST(TCPListener, NumbersAndNamesWhatItAccepts) {
    TCPListener listener(LOOPBACK, 0);
    EXPECT_EQ(listener.Accept("x"), nullptr);
    for (uint32_t id = 1; id <= 3; ++id) {
        Peer peer(listener.GetPort());
        ASSERT_TRUE(WaitFor(listener.Socket(), POLLIN));
        const std::unique_ptr<TCPConnection> connection(listener.Accept("$peer$ bulk ($peer$) $peer"));
        const std::string address = "127.0.0.1:" + std::to_string(peer.LocalPort());
        ASSERT_TRUE(connection);
        EXPECT_EQ(connection->GetName(), address + " bulk (" + address + ") $peer");
        EXPECT_EQ(connection->GetClientID(), id);
        EXPECT_TRUE(connection->IsAlive());
        EXPECT_TRUE(connection->IsConnected());
        EXPECT_EQ(listener.Accept("x"), nullptr);
    }
}

TEST(TCPListener, SaysWhyItCannotListen) {
    const std::string message = ThrownMessage([] { TCPListener(IPAddress(std::string("192.0.2.1")), 4711); });
    EXPECT_EQ(message.substr(message.find(' ')),
              " 0.0.0.0:0: Failed to bind to 192.0.2.1:4711: Cannot assign requested address");
    TCPListener first(LOOPBACK, 0);
    TCPListener second(LOOPBACK, first.GetPort());  // both kinds of re-use are on
    EXPECT_EQ(second.GetPort(), first.GetPort());
}

TEST(TCPListener, EverySocketIsClosedOnExecNonBlockingAndPrompt) {
    Link link;
    TCPConnection client("client", LOOPBACK, link.listener.GetPort());
    UDPSocket datagrams(LOOPBACK, 0);
    for (const int fd :
         {link.listener.Socket(), link.connection->Socket(), client.Socket(), datagrams.Socket()}) {
        EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(fcntl(fd, F_GETFL), O_RDWR | O_NONBLOCK);
    }
    for (const int fd : {link.listener.Socket(), link.connection->Socket(), client.Socket()}) {
        int noDelay = 0;
        socklen_t length = sizeof noDelay;
        EXPECT_EQ(getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &noDelay, &length), 0);
        EXPECT_EQ(noDelay, 1);
    }
}

TEST(TCPListener, TenThousandConnectionsLeakNothing) {
    DebugCapture capture;
    const size_t before = CountDescriptors();
    {
        TCPListener listener(LOOPBACK, 0);
        for (int i = 0; i < 10000; ++i) {
            TCPConnection client("client", LOOPBACK, listener.GetPort());
            ASSERT_TRUE(WaitFor(listener.Socket(), POLLIN));
            const std::unique_ptr<TCPConnection> accepted(listener.Accept("$peer$"));
            ASSERT_TRUE(accepted);
            ResetOnClose(client.Socket());  // leaves the ephemeral ports free
        }
    }
    EXPECT_EQ(CountDescriptors(), before);
    EXPECT_EQ(capture.RawLines(), Lines());
}

TEST(TCPListener, ConstructorsThatFailLeakNothing) {
    TCPListener listener(LOOPBACK, 0);
    UDPSocket datagrams(LOOPBACK, 0);
    const uint16_t port = PortOf(datagrams.Socket());
    const size_t before = CountDescriptors();
    const auto pipeEnd = [] {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        close(ends[0]);
        return ends[1];
    };
    const std::string noSocket = "getsockname failed: Socket operation on non-socket";
    EXPECT_EQ(ThrownMessage([&] { TCPSocket socket(pipeEnd()); }), noSocket);
    EXPECT_EQ(ThrownMessage([&] { TCPConnection connection("c", 1, pipeEnd()); }), noSocket);
    EXPECT_EQ(ThrownMessage([&] { UDPSocket socket(LOOPBACK, port); }),
              "Failed to bind socket to 127.0.0.1:" + std::to_string(port) + ": Address already in use");
    ThrownMessage([] { TCPListener refused(IPAddress(std::string("192.0.2.1")), 1); });
    EXPECT_EQ(CountDescriptors(), before);
}

}  // namespace
}  // namespace quarn::test
