#include <quarn/SocketUtilities.h>
#include <quarn/TCPSocket.h>
#include <quarn/UDPSocket.h>

#include "connections/Loopback.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quarn::test {
namespace {

using namespace SocketUtilities;

TEST(SocketUtilities, DescribesBothEnds) {
    Link link;
    const int fd = link.connection->Socket();
    const std::string local = "127.0.0.1:" + std::to_string(link.listener.GetPort());
    const std::string remote = "127.0.0.1:" + std::to_string(link.peer.LocalPort());
    TCPSocket unconnected;
    EXPECT_EQ(Describe(fd), "[" + std::to_string(fd) + "] " + local);
    EXPECT_EQ(Describe(-1), "[no socket]");
    EXPECT_EQ(DescribePeer(fd), remote);
    EXPECT_EQ(DescribePeer(-1), "nonexistent");
    EXPECT_EQ(DescribePeer(unconnected.Socket()), "disconnected");
    EXPECT_EQ(GetPeerAddress(fd), LOOPBACK);
    EXPECT_EQ(ThrownMessage([&] { GetPeerAddress(unconnected.Socket()); }),
              "getpeername failed: Transport endpoint is not connected");
    EXPECT_EQ(ThrownMessage([] { Describe(99999); }), "getsockname failed: Bad file descriptor");
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
    EXPECT_EQ(ThrownMessage([&] { SetSilenceLimit(datagrams.Socket(), 10); }),
              Describe(datagrams.Socket()) + ": setsockopt for silence limit failed: Protocol not available");
    EXPECT_EQ(ThrownMessage([] { SetBlocking(-1, true); }),
              "[no socket]: fcntl could not get file flags: Bad file descriptor");
    EXPECT_EQ(ThrownMessage([&] { SetNagle(datagrams.Socket(), false); }),
              Describe(datagrams.Socket()) + ": setsockopt for Nagle flag failed: Protocol not available");
}

TEST(SocketUtilities, WritableWhileThereIsRoom) {
    Link link;
    const int fd = link.connection->Socket();
    EXPECT_TRUE(SocketWritable(fd));
    const std::string block(65536, 'x');
    while (link.connection->Send(block.data(), block.size()) > 0) {
    }
    EXPECT_FALSE(SocketWritable(fd));
    EXPECT_FALSE(SocketWritable(-1));
    EXPECT_EQ(ThrownMessage([] { SocketWritable(99999); }), "getsockname failed: Bad file descriptor");
}

TEST(SocketUtilities, FillsAnFdSetWithinItsBounds) {
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    TCPSocket fits, uncreated(-1);
    TCPSocket tooHigh(fcntl(fits.Socket(), F_DUPFD_CLOEXEC, FD_SETSIZE));
    ASSERT_GE(tooHigh.Socket(), FD_SETSIZE);

    fd_set set, empty;
    FD_ZERO(&set);
    FD_ZERO(&empty);
    int maxFd = 0;
    EXPECT_TRUE(uncreated.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_EQ(ThrownMessage([&] { tooHigh.SetReadableFileDescriptorBit(&set, &maxFd); }),
              "File descriptor " + std::to_string(tooHigh.Socket()) + " does not fit an fd_set (limit 1024)");
    EXPECT_EQ(memcmp(&set, &empty, sizeof set), 0);
    EXPECT_EQ(maxFd, 0);

    EXPECT_TRUE(fits.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_TRUE(FD_ISSET(fits.Socket(), &set));
    EXPECT_EQ(maxFd, fits.Socket() + 1);
    maxFd = 2000;
    EXPECT_TRUE(fits.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_TRUE(fits.SetReadableFileDescriptorBit(&set, nullptr));
    EXPECT_EQ(maxFd, 2000);
}

}  // namespace
}  // namespace quarn::test
