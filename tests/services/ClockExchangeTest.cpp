#include "connections/Loopback.h"
#include "services/ClockExchange.h"

namespace quarn::test {
namespace {

const IPAddress kServer("10.0.0.1");

struct TargetClock final : SettableMicrosecondClock {
    uint32_t GetMicrosecondClock() const override { return target; }
    uint32_t SetMicrosecondClock(uint32_t time) override { return std::exchange(target, time); }
    uint32_t GetAdjustment() const override { return 0; }
    uint32_t target = 77;
};

// What happens in an exchange; a result of -1 has the failure for its errno.
struct Script {
    ssize_t sent = 8, ready = 1, length = 8;
    int failure = 0;
    IPAddress from = kServer;
    uint16_t port = 5010;
    // The bits that the reply has otherwise than the request; its first byte is the lowest, and the time on top.
    uint64_t flips = 0;
    uint32_t trip = 5000;
};

struct ScriptedLink final : ClockLink {
    uint64_t Now() override { return now; }
    ssize_t Send(const ClockPacket::Bytes& bytes) override {
        request = bytes;
        errno = script.failure;
        return script.sent;
    }
    int Wait(uint32_t) override {
        now += script.trip;
        return static_cast<int>(script.ready);
    }
    ssize_t Receive(ClockPacket::Bytes& bytes, IPAddress& from, uint16_t& port) override {
        for (size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<uint8_t>(request[i] ^ script.flips >> 8 * i);
        from = script.from;
        port = script.port;
        return script.length;
    }

    uint64_t now = 0xFFFFFFF0;
    Script script;
    ClockPacket::Bytes request = {};
};

struct ClockExchangeTest : testing::Test {
    ScriptedLink link;
    TargetClock clock;
    ClockExchange exchange{link, kServer, 5010, clock};
};

TEST_F(ClockExchangeTest, SetsTheClockToTheServersTimePlusHalfTheAverageOfTenTrips) {
    link.script.flips = 0xFFFFFFFF00000000;
    for (int i = 1; i <= 0xFFFF; ++i) {
        link.script.trip = i == 1 ? 3001 : 200;
        const ClockExchange::Result result = exchange.Run();
        ASSERT_EQ(result.average, i > 10 ? 200 : (3001 + 200U * (i - 1)) / i);
        ASSERT_EQ(result.target, result.average / 2 - 1);
        ASSERT_EQ(clock.target, result.target);
    }
    EXPECT_EQ(link.request, (ClockPacket::Bytes{'S', 'C', 0xFF, 0xFF}));
    exchange.Run();
    EXPECT_EQ(link.request, (ClockPacket::Bytes{'S', 'C', 0, 0}));
    EXPECT_EQ(exchange.DiscardLateReplies(), 1000U);  // and not for ever
}

TEST_F(ClockExchangeTest, FailsWithoutTouchingTheClockOrTheTrips) {
    const std::pair<Script, const char*> cases[] = {
        {{.sent = -1, .failure = ENETUNREACH}, "Send to 10.0.0.1 failed: Network is unreachable"},
        {{.sent = 5}, "Sent 5 of 8 bytes to 10.0.0.1"},
        {{.ready = -1, .failure = EINTR}, "Select failed: Interrupted system call"},
        {{.ready = 0}, "No response from server within 10ms"},
        {{.length = -1, .failure = ECONNREFUSED}, "Read failed: Connection refused"},
        {{.length = 7, .from = IPAddress("10.0.0.2")}, "Ignoring traffic from 10.0.0.2:5010"},
        {{.port = 5011}, "Ignoring traffic from 10.0.0.1:5011"},
        {{.length = 9, .flips = 1}, "Got 9 bytes; expected 8"},
        {{.flips = 0x11010}, "Bad magic number (got 0x5343, expected 0x4353)"},
        {{.flips = 0x80000000}, "Bad sequence number (got 0x8001, expected 0x0001)"},
    };
    for (const auto& [script, message] : cases) {
        ScriptedLink failing;
        ClockExchange fresh(failing, kServer, 5010, clock);
        failing.script = script;
        EXPECT_EQ(ThrownMessage([&] { fresh.Run(); }), message);
        EXPECT_EQ(clock.target, 77U);
        failing.script = {.trip = 100};
        EXPECT_EQ(fresh.Run().target, 50U);
        clock.target = 77;
    }
}

TEST(ClockPollIntervalTest, IsSpreadAround200Milliseconds) {
    const std::pair<int32_t, int32_t> cases[] = {{0, 200},  {1, 200},  {2, 201}, {3, 199},
                                                 {18, 209}, {19, 191}, {20, 200}};
    for (const auto& [random, interval] : cases)
        EXPECT_EQ(ClockPollInterval(random), interval) << random;
}

}  // namespace
}  // namespace quarn::test
