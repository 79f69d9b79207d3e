#include <quarn/UDPSocket.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <unistd.h>

namespace quarn::test {
namespace {

TEST(UDPSocket, ReturnsTheWholeLengthOfATruncatedDatagram) {
    UDPSocket a(LOOPBACK, 0), b(LOOPBACK, 0);
    const std::string datagram(100, 'd');
    char buffer[11] = "----------";
    IPAddress from;
    uint16_t fromPort = 1;
    EXPECT_EQ(b.Receive(buffer, 10, &from, &fromPort), 0U);
    EXPECT_TRUE(from.IsZero());
    EXPECT_EQ(fromPort, 1);

    EXPECT_EQ(a.Send(datagram.data(), datagram.size(), LOOPBACK, PortOf(b.Socket())), 100U);
    EXPECT_EQ(a.Send("next", 4, LOOPBACK, PortOf(b.Socket())), 4U);
    ASSERT_TRUE(WaitFor(b.Socket(), POLLIN));
    EXPECT_EQ(b.Receive(buffer, 9, &from, &fromPort), 100U);
    EXPECT_STREQ(buffer, "ddddddddd-");
    EXPECT_EQ(from, LOOPBACK);
    EXPECT_EQ(fromPort, PortOf(a.Socket()));
    EXPECT_EQ(b.Receive(buffer, 10, nullptr, nullptr), 4U);
    EXPECT_EQ(std::string(buffer, 4), "next");
}

TEST(UDPSocket, ThrowsWhatCannotBeSentAndReportsItsEnd) {
    DebugCapture capture(DEBUG_ERR);
    int fd = -1;
    {
        UDPSocket socket(LOOPBACK, 0);
        fd = socket.Socket();
        const std::string tooLong(70000, 'd');
        EXPECT_EQ(ThrownMessage([&] { socket.Send(tooLong.data(), tooLong.size(), LOOPBACK, 4711); }),
                  "Send to 127.0.0.1:4711 failed: Message too long");
    }
    {
        UDPSocket socket(LOOPBACK, 0);
        EXPECT_EQ(socket.Socket(), fd);
        close(fd);
        EXPECT_EQ(ThrownMessage([&] { socket.Receive(nullptr, 0, nullptr, nullptr); }),
                  "Receive failed: Bad file descriptor");
    }
    EXPECT_EQ(capture.Lines(), std::vector<std::string>({"UDPSocket: Closed socket " + std::to_string(fd),
                                                         "UDPSocket: Failed to close socket " +
                                                             std::to_string(fd) + ": Bad file descriptor"}));
}

}  // namespace
}  // namespace quarn::test
