#include "connections/Loopback.h"

namespace quarn::test {

TEST(UDPSocket, ReturnsTheWholeLengthOfATruncatedDatagramAndReportsItsEnd) {
    DebugCapture capture(DEBUG_ERR);
    UDPSocket a(LOOPBACK, 0);
    auto b = std::make_unique<UDPSocket>(LOOPBACK, 0);
    const int fd = b->Socket();
    const std::string datagram(70000, 'd'), name = "socket " + std::to_string(fd);
    char buffer[11] = "----------";
    IPAddress from;
    uint16_t fromPort = 0;
    EXPECT_EQ(b->Receive(buffer, 10, &from, &fromPort), 0U);
    EXPECT_EQ(a.Send(datagram.data(), 100, LOOPBACK, PortOf(fd)), 100U);
    EXPECT_EQ(a.Send("next", 4, LOOPBACK, PortOf(fd)), 4U);
    ASSERT_TRUE(WaitFor(fd, POLLIN));
    EXPECT_EQ(b->Receive(buffer, 9, &from, &fromPort), 100U);
    EXPECT_STREQ(buffer, "ddddddddd-");
    EXPECT_EQ(from, LOOPBACK);
    EXPECT_EQ(fromPort, PortOf(a.Socket()));
    EXPECT_TRUE(Eventually([&] { return b->Receive(buffer, 10, nullptr, nullptr) == 4; }));
    EXPECT_EQ(ThrownMessage([&] { a.Send(datagram.data(), datagram.size(), LOOPBACK, 4711); }),
              "Send to 127.0.0.1:4711 failed: Message too long");

    b.reset();
    b = std::make_unique<UDPSocket>(LOOPBACK, 0);
    ASSERT_EQ(close(fd), 0);  // the lowest that was free
    EXPECT_EQ(ThrownMessage([&] { b->Receive(nullptr, 0, nullptr, nullptr); }),
              "Receive failed: Bad file descriptor");
    b.reset();
    EXPECT_EQ(capture.Lines(), Lines({"UDPSocket: Closed " + name,
                                      "UDPSocket: Failed to close " + name + ": Bad file descriptor"}));
}

}  // namespace quarn::test
