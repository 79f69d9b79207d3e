#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quarn::test {
namespace {

TEST(WatchdogProxyTest, SendsAnUpdateEvery250MillisecondsUntilTheServiceCloses) {
    DebugCapture debug;
    TCPListener listener(LOOPBACK, 0);
    WatchdogProxy watchdog(LOOPBACK, listener.GetPort(), "rece%siver");
    ASSERT_TRUE(WaitFor(listener.Socket(), POLLIN));
    const std::unique_ptr<TCPConnection> service(listener.Accept("service"));
    const auto read = [&] {
        char bytes[4096];
        const ssize_t length = recv(service->Socket(), bytes, sizeof bytes, MSG_DONTWAIT);
        return std::string(bytes, length > 0 ? static_cast<size_t>(length) : 0);
    };
    const std::string lines(1000, '\n');  // not twice as many fit a line terminal
    for (uint64_t update = 0, last = 0; update < 3; ++update) {
        service->Send(lines.data(), lines.size());
        uint64_t before = 0;
        EXPECT_TRUE(Eventually([&] { return before = Tick(), watchdog.Work(); }));
        EXPECT_GE(Tick() - last, 250000U);
        last = before;
        // It has been sent, though no pass followed.
        EXPECT_TRUE(WaitFor(service->Socket(), POLLIN));
        EXPECT_EQ(read(), Format("update rece%%siver %d\n", getpid()));
    }
    shutdown(service->Socket(), SHUT_WR);
    EXPECT_TRUE(Eventually([&] { return watchdog.Work(), !watchdog.IsAlive(); }));
    read();
    for (const uint64_t end = Tick(); MillisecondsSince(end) < 350;)
        ASSERT_FALSE(watchdog.Work());
    EXPECT_EQ(read(), "");
    EXPECT_EQ(debug.Lines(), Lines{Format("Connection \"watchdog (127.0.0.1:%u)\": zero-byte read (probably "
                                          "shut down by peer)",
                                          listener.GetPort())});
}

TEST(WatchdogProxyTest, IsOfNoUseWithoutAService) {
    DebugCapture debug;
    BusyPort port;  // neither accepts nor refuses
    for (const char* const end : {"giving up after ", "failed during connect: Connection refused"}) {
        WatchdogProxy watchdog(LOOPBACK, port.Port(), "receiver");
        bool sent = false;
        EXPECT_TRUE(Eventually([&] { return sent |= watchdog.Work(), !watchdog.IsAlive(); }));
        EXPECT_FALSE(sent);
        EXPECT_EQ(
            debug.CountContaining(Format("Connection \"watchdog (127.0.0.1:%u)\": ", port.Port()) + end), 1U);
        port.StopListening();
    }
}

}  // namespace
}  // namespace quarn::test
