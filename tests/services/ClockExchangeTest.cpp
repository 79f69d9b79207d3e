#include <quarn/SettableMicrosecondClock.h>

#include "services/ClockExchange.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <errno.h>

#include <functional>
#include <utility>
#include <vector>

namespace quarn::test {
namespace {

const IPAddress kServer("10.0.0.1");
constexpr uint16_t kPort = 5010;

struct TargetClock final : SettableMicrosecondClock {
    uint32_t GetMicrosecondClock() const override { return target; }
    uint32_t SetMicrosecondClock(uint32_t time) override { return std::exchange(target, time); }
    uint32_t GetAdjustment() const override { return 0; }

    uint32_t target = 77;
};

// A server that answers as it is told; a negative result stands for the errno of a failure.
struct ScriptedLink final : ClockLink {
    uint64_t Now() override { return now; }
    ssize_t Send(const ClockPacket::Bytes& bytes) override {
        request = reply = bytes;
        for (size_t i = 0; i < 4; ++i)
            reply[4 + i] = static_cast<uint8_t>(serverTime >> 8 * i);
        for (size_t i = 0; i < reply.size(); ++i)
            reply[i] ^= flips[i];
        return Result(sendResult);
    }
    int Wait(uint32_t) override {
        now += roundTrip;
        return static_cast<int>(Result(waitResult));
    }
    ssize_t Receive(ClockPacket::Bytes& bytes, IPAddress& replyFrom, uint16_t& replyPort) override {
        bytes = reply;
        replyFrom = from;
        replyPort = fromPort;
        return Result(replyLength);
    }
    static ssize_t Result(ssize_t result) {
        errno = result < 0 ? static_cast<int>(-result) : 0;
        return result < 0 ? -1 : result;
    }

    uint64_t now = 0xFFFFFFF0;
    uint32_t roundTrip = 0, serverTime = 0;
    ssize_t sendResult = 8, waitResult = 1, replyLength = 8;
    IPAddress from = kServer;
    uint16_t fromPort = kPort;
    ClockPacket::Bytes flips = {};  // bits that are wrong in the reply
    ClockPacket::Bytes request = {}, reply = {};
};

class ClockExchangeTest : public testing::Test {
protected:
    ScriptedLink link_;
    TargetClock clock_;
    ClockExchange exchange_{link_, kServer, kPort, clock_};
};

TEST_F(ClockExchangeTest, SetsTheClockToTheServersTimePlusHalfTheAverageOfTenTrips) {
    link_.serverTime = 0xFFFFFFFF;
    for (int i = 1; i <= 0xFFFF; ++i) {
        link_.roundTrip = i == 1 ? 3001 : 200;
        const ClockExchange::Result result = exchange_.Run();
        ASSERT_EQ(result.average, i > 10 ? 200 : (3001 + 200U * (i - 1)) / i);
        ASSERT_EQ(result.target, result.average / 2 - 1);
        ASSERT_EQ(clock_.target, result.target);
    }
    EXPECT_EQ(link_.request, (ClockPacket::Bytes{'S', 'C', 0xFF, 0xFF}));
    exchange_.Run();
    EXPECT_EQ(link_.request, (ClockPacket::Bytes{'S', 'C', 0, 0}));
}

TEST_F(ClockExchangeTest, FailsWithoutTouchingTheClockOrTheTrips) {
    const std::pair<std::function<void(ScriptedLink&)>, const char*> cases[] = {
        {[](auto& l) { l.sendResult = -ENETUNREACH; }, "Send to 10.0.0.1 failed: Network is unreachable"},
        {[](auto& l) { l.sendResult = 5; }, "Sent 5 of 8 bytes to 10.0.0.1"},
        {[](auto& l) { l.waitResult = -EINTR; }, "Select failed: Interrupted system call"},
        {[](auto& l) { l.waitResult = 0; }, "No response from server within 10ms"},
        {[](auto& l) { l.replyLength = -ECONNREFUSED; }, "Read failed: Connection refused"},
        {[](auto& l) { l.from = IPAddress("10.0.0.2"), l.replyLength = 7; },
         "Ignoring traffic from 10.0.0.2:5010"},
        {[](auto& l) { l.fromPort = 5011; }, "Ignoring traffic from 10.0.0.1:5011"},
        {[](auto& l) { l.replyLength = 7; }, "Got 7 bytes; expected 8"},
        {[](auto& l) { l.replyLength = 1; }, "Got 1 byte; expected 8"},
        {[](auto& l) { l.replyLength = 9, l.flips[0] = 1; }, "Got 9 bytes; expected 8"},
        {[](auto& l) { l.flips[0] = l.flips[1] = 0x10, l.flips[2] = 1; },
         "Bad magic number (got 0x5343, expected 0x4353)"},
        {[](auto& l) { l.flips[3] = 0x80; }, "Bad sequence number (got 0x8001, expected 0x0001)"},
    };
    for (const auto& [damage, message] : cases) {
        ScriptedLink link;
        TargetClock clock;
        ClockExchange exchange(link, kServer, kPort, clock);
        link.roundTrip = 5000;
        damage(link);
        EXPECT_EQ(ThrownMessage([&] { exchange.Run(); }), message);
        EXPECT_EQ(clock.target, 77U);
        link = ScriptedLink();
        link.roundTrip = 100;
        EXPECT_EQ(exchange.Run().target, 50U);
    }
}

TEST_F(ClockExchangeTest, DiscardsWhatWaitsButNotForEver) {
    EXPECT_EQ(exchange_.DiscardLateReplies(), 1000U);
}

TEST(ClockPollIntervalTest, IsSpreadAround200Milliseconds) {
    const std::pair<int32_t, int32_t> cases[] = {{0, 200},  {1, 200},  {2, 201},  {3, 199},
                                                 {18, 209}, {19, 191}, {20, 200}, {INT32_MAX, 197}};
    for (const auto& [random, interval] : cases)
        EXPECT_EQ(ClockPollInterval(random), interval) << random;
}

}  // namespace
}  // namespace quarn::test
