#include "connections/Loopback.h"

#include <fcntl.h>
#include <netinet/tcp.h>

namespace quarn::test {

using namespace SocketUtilities;

TEST(SocketUtilities, DescribesBothEndsAndWhetherThereIsRoom) {
    Link link;
    const int fd = link.connection->Socket();
    EXPECT_EQ(Describe(fd), Format("[%d] 127.0.0.1:%u", fd, link.listener.GetPort()));
    EXPECT_EQ(DescribePeer(fd), Format("127.0.0.1:%u", link.peer.LocalPort()));
    EXPECT_EQ(GetPeerAddress(fd), LOOPBACK);
    EXPECT_TRUE(SocketWritable(fd));
    const std::string block(65536, 'x');
    while (link.connection->Send(block.data(), block.size()) > 0)
        continue;
    EXPECT_FALSE(SocketWritable(fd));

    EXPECT_EQ(Describe(-1), "[no socket]");
    EXPECT_EQ(DescribePeer(-1), "nonexistent");
    EXPECT_FALSE(SocketWritable(-1));
    TCPSocket unconnected;
    EXPECT_EQ(DescribePeer(unconnected.Socket()), "disconnected");
    EXPECT_EQ(ThrownMessage([&] { GetPeerAddress(unconnected.Socket()); }),
              "getpeername failed: Transport endpoint is not connected");
    EXPECT_EQ(ThrownMessage([] { SocketWritable(99999); }), "getsockname failed: Bad file descriptor");
    EXPECT_EQ(ThrownMessage([] { TCPSocket(-1).ErrorCheck(); }), "Calling ErrorCheck on uncreated TCPSocket");
}

TEST(SocketUtilities, SwitchesOneFlagAndSaysWhatFailed) {
    TCPSocket socket;
    ASSERT_EQ(fcntl(socket.Socket(), F_SETFL, O_NONBLOCK | O_ASYNC), 0);
    SetBlocking(socket.Socket(), true);
    EXPECT_EQ(fcntl(socket.Socket(), F_GETFL), O_RDWR | O_ASYNC);
    SetBlocking(socket.Socket(), false);
    EXPECT_EQ(fcntl(socket.Socket(), F_GETFL), O_RDWR | O_ASYNC | O_NONBLOCK);
    SetSilenceLimit(socket.Socket(), 10);
    unsigned limitMs = 0;
    socklen_t length = sizeof limitMs;
    EXPECT_EQ(getsockopt(socket.Socket(), IPPROTO_TCP, TCP_USER_TIMEOUT, &limitMs, &length), 0);
    EXPECT_EQ(limitMs, 10000U);

    UDPSocket datagrams(LOOPBACK, 0);
    const int fd = datagrams.Socket();
    EXPECT_EQ(ThrownMessage([&] { SetSilenceLimit(fd, 10); }),
              Describe(fd) + ": setsockopt for silence limit failed: Protocol not available");
    EXPECT_EQ(ThrownMessage([&] { SetNagle(fd, false); }),
              Describe(fd) + ": setsockopt for Nagle flag failed: Protocol not available");
    EXPECT_EQ(ThrownMessage([] { SetBlocking(-1, true); }),
              "[no socket]: fcntl could not get file flags: Bad file descriptor");
}

TEST(SocketUtilities, FillsAnFdSetWithinItsBounds) {
    fd_set set;
    FD_ZERO(&set);
    // A descriptor, and what the maximum is before and after it.
    const std::tuple<int, int, int> cases[] = {{-1, 0, 0}, {0, 0, 1}, {1023, 0, 1024}, {1, 2000, 2000}};
    for (auto [fd, maxFd, after] : cases) {
        SetDescriptorBit(fd, &set, &maxFd);
        EXPECT_EQ(maxFd, after);
        EXPECT_TRUE(fd < 0 || FD_ISSET(fd, &set)) << fd;
    }
    SetDescriptorBit(2, &set, nullptr);
    EXPECT_EQ(ThrownMessage([&] { SetDescriptorBit(1024, &set, nullptr); }),
              "File descriptor 1024 does not fit an fd_set (limit 1024)");
}

}  // namespace quarn::test
