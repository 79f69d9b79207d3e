// The clock protocol: bytes 0 to 8 are a datagram and its length; what follows answers a client's calls.

#include <quarn/SettableMicrosecondClock.h>

#include "fuzz/Fuzz.h"
#include "services/ClockExchange.h"

#include <errno.h>

#include <optional>
#include <utility>

namespace quarn::test {
namespace {

class NotingClock final : public SettableMicrosecondClock {
public:
    uint32_t GetMicrosecondClock() const override { return time; }
    uint32_t SetMicrosecondClock(uint32_t newTime) override {
        ++timesSet;
        return std::exchange(time, newTime);
    }
    uint32_t GetAdjustment() const override { return 0; }

    uint32_t time = 0x12345678;
    uint32_t timesSet = 0;
};

const IPAddress kServer{uint32_t{0x0100007F}};
constexpr uint16_t kPort = 5010;

class ScriptedLink final : public ClockLink {
public:
    explicit ScriptedLink(Input& script) : script_(script) {}

    uint64_t Now() override { return now_ += script_.Byte(); }
    ssize_t Send(const ClockPacket::Bytes& bytes) override {
        request_ = ClockPacket::Decode(bytes, ssize_t{ClockPacket::kSize});
        const uint8_t result = script_.Byte();
        return result > 0xF0 ? Fail() : result > 0xE0 ? result % 8 : ssize_t{ClockPacket::kSize};
    }
    int Wait(uint32_t) override {
        const uint8_t result = script_.Byte();
        return result > 0xF0 ? int(Fail()) : result < 0xE0;
    }
    ssize_t Receive(ClockPacket::Bytes& bytes, IPAddress& from, uint16_t& fromPort) override {
        const uint8_t flags = script_.Byte();
        if (script_.IsEmpty() || flags > 0xF0)
            return Fail();
        from = flags & 1 ? IPAddress(uint32_t{flags}) : kServer;
        fromPort = flags & 2 ? flags : kPort;
        const Bytes raw = script_.Take(bytes.size());
        std::copy(raw.begin(), raw.end(), bytes.begin());
        if (flags & 4) {  // a good reply
            ClockPacket reply = request_;
            reply.time = flags * 0x01010101U;
            bytes = reply.Encode();
        }
        return flags & 8 ? flags : ssize_t{ClockPacket::kSize};
    }

private:
    static ssize_t Fail() {
        errno = EAGAIN;
        return -1;
    }

    Input& script_;
    ClockPacket request_;
    uint64_t now_ = 0;
};

void CheckPacket(ClockPacket::Bytes bytes, uint8_t length) {
    ClockPacket packet;
    const bool isGood = length == ClockPacket::kSize && bytes[0] == 'S' && bytes[1] == 'C';
    const bool isTaken = Failure([&] { packet = ClockPacket::Decode(bytes, length); }).empty();
    Require(isTaken == isGood, "a bad packet is taken, or a good one refused");

    NotingClock clock;
    ClockPacket::Bytes reply = bytes;
    Require(Failure([&] { AnswerTimeRequest(reply, length, clock); }).empty() == isGood,
            "the server judges otherwise");
    if (!isGood)
        return;
    Require(packet.Encode() == bytes, "other bytes than were read");
    packet.time = clock.time;
    Require(packet.Encode() == reply, "the reply is not the request with the time");
}

}  // namespace

void CheckInput(Input& input) {
    const uint8_t length = input.Byte();
    const Bytes raw = input.Take(ClockPacket::kSize);
    ClockPacket::Bytes bytes{};
    std::copy(raw.begin(), raw.end(), bytes.begin());
    CheckPacket(bytes, length);
    NotingClock clock;
    ScriptedLink link(input);
    ClockExchange exchange(link, kServer, kPort, clock);
    while (!input.IsEmpty()) {
        Require(exchange.DiscardLateReplies() <= 1000, "a flood holds the client");
        const uint32_t timesSet = clock.timesSet, before = clock.time;
        std::optional<ClockExchange::Result> result;
        Failure([&] { result = exchange.Run(); });
        Require(clock.timesSet == timesSet + result.has_value() &&
                    (!result || (clock.time == result->target && before == result->previous)),
                "the clock was not set as told");
    }
}

}  // namespace quarn::test
