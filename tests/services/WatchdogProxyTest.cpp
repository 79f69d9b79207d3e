#include "connections/Loopback.h"

namespace quarn::test {

TEST(WatchdogProxyTest, SendsAnUpdateEvery250MillisecondsUntilTheServiceCloses) {
    DebugCapture debug;
    TCPListener listener(LOOPBACK, 0);
    auto watchdog = std::make_unique<WatchdogProxy>(LOOPBACK, listener.GetPort(), "rece%siver");
    const Peer service(listener);
    const std::string update = Format("update rece%%siver %d\n", getpid());
    for (uint64_t i = 0, last = 0; i < 3; ++i) {
        service.Write(std::string(1000, '\n'));  // not twice as many fit a line terminal
        uint64_t before = 0;
        EXPECT_TRUE(Eventually([&] { return before = Tick(), watchdog->Work(); }));
        EXPECT_GE(Tick() - last, 250000U);
        last = before;
        EXPECT_TRUE(service.Hears(update));  // though no pass followed
    }
    service.ShutDown();
    std::string sent;
    EXPECT_TRUE(Eventually([&] { return sent += watchdog->Work() ? update : "", !watchdog->IsAlive(); }));
    for (const uint64_t end = Tick(); MillisecondsSince(end) < 350;)
        ASSERT_FALSE(watchdog->Work());
    watchdog.reset();
    EXPECT_EQ(service.Read(1000), sent);
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

}  // namespace quarn::test
