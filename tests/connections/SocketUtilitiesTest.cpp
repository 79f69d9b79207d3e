#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/resource.h>

namespace quarn::test {
namespace {

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
    EXPECT_EQ(ThrownMessage([&] { SetNagle(datagrams.Socket(), false); }),
              Describe(datagrams.Socket()) + ": setsockopt for Nagle flag failed: Protocol not available");
    EXPECT_EQ(ThrownMessage([] { SetBlocking(-1, true); }),
              "[no socket]: fcntl could not get file flags: Bad file descriptor");
}

TEST(SocketUtilities, FillsAnFdSetWithinItsBounds) {
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    TCPSocket fits, uncreated(-1);
    TCPSocket tooHigh(fcntl(fits.Socket(), F_DUPFD_CLOEXEC, FD_SETSIZE));

    fd_set set;
    FD_ZERO(&set);
    int maxFd = 0;
    EXPECT_EQ(ThrownMessage([&] { tooHigh.SetReadableFileDescriptorBit(&set, &maxFd); }),
              Format("File descriptor %d does not fit an fd_set (limit 1024)", tooHigh.Socket()));
    EXPECT_TRUE(uncreated.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_EQ(maxFd, 0);
    EXPECT_TRUE(fits.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_TRUE(FD_ISSET(fits.Socket(), &set));
    EXPECT_EQ(maxFd, fits.Socket() + 1);
    maxFd = 2000;
    EXPECT_TRUE(fits.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_TRUE(fits.SetReadableFileDescriptorBit(&set, nullptr));
    EXPECT_EQ(maxFd, 2000);
    EXPECT_EQ(ThrownMessage([&] { uncreated.ErrorCheck(); }), "Calling ErrorCheck on uncreated TCPSocket");
}

}  // namespace
}  // namespace quarn::test
