#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn::test {
namespace {

// The watchdog service's end.
struct Service {
    bool Accept() {
        return Eventually([&] { return (connection.reset(listener.Accept("peer")), connection != nullptr); });
    }
    std::string Read() {
        char bytes[4096];
        const ssize_t length = recv(connection->Socket(), bytes, sizeof bytes, MSG_DONTWAIT);
        return std::string(bytes, length > 0 ? static_cast<size_t>(length) : 0);
    }

    TCPListener listener{LOOPBACK, 0};
    const uint16_t port = listener.GetPort();
    std::unique_ptr<TCPConnection> connection;
};

TEST(WatchdogProxyTest, SendsAnUpdateEvery250Milliseconds) {
    Service service;
    WatchdogProxy watchdog(LOOPBACK, service.port, "rece%siver");
    std::vector<uint64_t> updates;
    EXPECT_TRUE(Eventually([&] {
        const uint64_t before = Tick();
        if (watchdog.Work())
            updates.push_back(before);
        return updates.size() == 3;
    }));
    for (size_t i = 1; i < updates.size(); ++i)
        EXPECT_GE(updates[i] - updates[i - 1], 249000u);
    ASSERT_TRUE(service.Accept());
    // The last one has been sent too, though no pass followed it.
    const std::string update = Format("update rece%%siver %d\n", getpid());
    EXPECT_EQ(service.Read(), update + update + update);
}

TEST(WatchdogProxyTest, DropsWhatTheServiceSendsAndStaysDownOnceClosed) {
    DebugCapture debug;
    Service service;
    WatchdogProxy watchdog(LOOPBACK, service.port, "receiver");
    ASSERT_TRUE(Eventually([&] { return watchdog.Work(); }));
    ASSERT_TRUE(service.Accept());
    std::string lines;  // more than a line terminal holds
    for (int i = 0; i < 3000; ++i)
        lines += "some text\n";
    ASSERT_EQ(service.connection->Send(lines.data(), lines.size()), lines.size());
    shutdown(service.connection->Socket(), SHUT_WR);
    EXPECT_TRUE(Eventually([&] { return watchdog.Work(), !watchdog.IsAlive(); }));
    EXPECT_EQ(service.Read().substr(0, 16), "update receiver ");

    const uint64_t end = Tick();
    while (MillisecondsSince(end) < 350)
        ASSERT_FALSE(watchdog.Work());
    EXPECT_EQ(service.Read(), "");
    EXPECT_EQ(debug.Lines(), Lines{Format("Connection \"watchdog (127.0.0.1:%u)\": zero-byte read (probably "
                                          "shut down by peer)",
                                          service.port)});
}

TEST(WatchdogProxyTest, IsOfNoUseWithoutAService) {
    DebugCapture debug;
    BusyPort busy;  // neither accepts nor refuses
    WatchdogProxy pending(LOOPBACK, busy.Port(), "receiver");
    bool sent = false;
    EXPECT_TRUE(Eventually([&] { return sent |= pending.Work(), !pending.IsAlive(); }));
    busy.StopListening();

    WatchdogProxy refused(LOOPBACK, busy.Port(), "receiver");
    EXPECT_TRUE(Eventually([&] { return sent |= refused.Work(), !refused.IsAlive(); }));
    EXPECT_FALSE(sent);
    EXPECT_EQ(debug.CountContaining(": giving up after "), 1u);
    EXPECT_TRUE(debug.Contains(Format(
        "Connection \"watchdog (127.0.0.1:%u)\": failed during connect: Connection refused", busy.Port())));
}

}  // namespace
}  // namespace quarn::test
