#include <quarn/SettableMicrosecondClock.h>

#include "services/ClockExchange.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <errno.h>

#include <functional>
#include <numeric>
#include <optional>
#include <vector>

namespace quarn::test {
namespace {

const IPAddress kServer(std::string("10.0.0.1"));
constexpr uint16_t kPort = 5010;

struct TargetClock final : SettableMicrosecondClock {
    uint32_t GetMicrosecondClock() const override { return 77; }
    uint32_t SetMicrosecondClock(uint32_t time) override {
        targets.push_back(time);
        return 77;
    }
    uint32_t GetAdjustment() const override { return 0; }

    std::vector<uint32_t> targets;
};

// A server that answers as it is told; a negative result stands for the errno of a failure.
struct ScriptedLink final : ClockLink {
    uint64_t Now() override { return now; }
    ssize_t Send(const ClockPacket::Bytes& bytes) override {
        request = bytes;
        reply = bytes;
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
        if (waiting && (*waiting)-- == 0)
            return Result(-EAGAIN);
        return Result(replyLength);
    }
    static ssize_t Result(ssize_t result) {
        errno = result < 0 ? static_cast<int>(-result) : 0;
        return result < 0 ? -1 : result;
    }

    uint64_t now = 0xFFFFFFF0;
    uint32_t roundTrip = 0;
    uint32_t serverTime = 0;
    ssize_t sendResult = 8;
    ssize_t waitResult = 1;
    ssize_t replyLength = 8;
    std::optional<size_t> waiting;  // datagrams; none for an endless number
    IPAddress from = kServer;
    uint16_t fromPort = kPort;
    ClockPacket::Bytes flips = {};  // bits that are wrong in the reply
    ClockPacket::Bytes request = {};
    ClockPacket::Bytes reply = {};
};

TEST(ClockExchangeTest, SetsTheClockToTheServersTimePlusHalfTheAverageOfTenTrips) {
    ScriptedLink link;
    TargetClock clock;
    ClockExchange exchange(link, kServer, kPort, clock);
    const std::vector<uint32_t> trips = {3001, 200, 151, 1000, 1, 777, 0, 9999, 123, 45, 300, 5, 2};
    std::vector<uint32_t> targets;
    for (size_t i = 0; i < trips.size(); ++i) {
        link.roundTrip = trips[i];
        link.serverTime = 0xFFFFFF00 + static_cast<uint32_t>(i);
        const ClockExchange::Result result = exchange.Run();
        const auto end = trips.begin() + static_cast<ptrdiff_t>(i) + 1;
        const auto begin = end - std::min<ptrdiff_t>(end - trips.begin(), 10);
        const uint32_t average = std::accumulate(begin, end, 0u) / static_cast<uint32_t>(end - begin);
        targets.push_back(link.serverTime + average / 2);
        EXPECT_EQ(link.request, (ClockPacket::Bytes{'S', 'C', static_cast<uint8_t>(i + 1), 0, 0, 0, 0, 0}));
        EXPECT_EQ(result.roundTrip, trips[i]);
        EXPECT_EQ(result.average, average);
        EXPECT_EQ(result.target, targets.back());
        EXPECT_EQ(result.previous, 77u);
    }
    EXPECT_EQ(clock.targets, targets);
}

TEST(ClockExchangeTest, FailsWithoutTouchingTheClockOrTheTrips) {
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
        {[](auto& l) { l.flips[2] = 1; }, "Bad sequence number (got 0x0000, expected 0x0001)"},
        {[](auto& l) { l.flips[3] = 0x80; }, "Bad sequence number (got 0x8001, expected 0x0001)"},
    };
    for (const auto& [damage, message] : cases) {
        ScriptedLink link;
        TargetClock clock;
        ClockExchange exchange(link, kServer, kPort, clock);
        link.roundTrip = 5000;
        damage(link);
        EXPECT_EQ(ThrownMessage([&] { exchange.Run(); }), message);
        EXPECT_EQ(clock.targets, std::vector<uint32_t>());
        link = ScriptedLink();
        link.roundTrip = 100;
        exchange.Run();
        EXPECT_EQ(clock.targets, std::vector<uint32_t>{50});
    }
}

TEST(ClockExchangeTest, WrapsTheSequenceNumber) {
    ScriptedLink link;
    TargetClock clock;
    ClockExchange exchange(link, kServer, kPort, clock);
    for (int i = 0; i < 0xFFFF; ++i)
        exchange.Run();
    EXPECT_EQ(link.request, (ClockPacket::Bytes{'S', 'C', 0xFF, 0xFF}));
    exchange.Run();
    EXPECT_EQ(link.request, (ClockPacket::Bytes{'S', 'C', 0, 0}));
}

TEST(ClockExchangeTest, DiscardsWhatWaitsButNotForEver) {
    ScriptedLink link;
    TargetClock clock;
    ClockExchange exchange(link, kServer, kPort, clock);
    link.replyLength = 100;
    link.waiting = 3;
    EXPECT_EQ(exchange.DiscardLateReplies(), 3u);
    link.waiting.reset();
    EXPECT_EQ(exchange.DiscardLateReplies(), 1000u);
}

TEST(ClockExchangeTest, SpreadsTheIntervalsAround200Milliseconds) {
    const std::pair<int32_t, int32_t> cases[] = {{0, 200},  {1, 200},  {2, 201},  {3, 199},
                                                 {18, 209}, {19, 191}, {20, 200}, {INT32_MAX, 197}};
    for (const auto& [random, interval] : cases)
        EXPECT_EQ(ClockPollInterval(random), interval) << random;
}

}  // namespace
}  // namespace quarn::test
