// The clock protocol: 9 bytes are a datagram's length and its start; the first goes to a server, the others are the
// replies that a client gets.

#include <quarn/SettableMicrosecondClock.h>

#include "fuzz/Fuzz.h"
#include "services/ClockExchange.h"

#include <utility>

namespace quarn::test {
namespace {

const IPAddress kServer{uint32_t{0x0100007F}};

struct Clock final : SettableMicrosecondClock {
    uint32_t GetMicrosecondClock() const override { return time; }
    uint32_t SetMicrosecondClock(uint32_t newTime) override { return std::exchange(time, newTime); }
    uint32_t GetAdjustment() const override { return 0; }

    uint32_t time = 0x12345678;
};

uint8_t Take(Input& input, ClockPacket::Bytes& bytes) {
    const uint8_t length = input.Byte();
    const Bytes taken = input.Take(ClockPacket::kSize);
    std::copy(taken.begin(), taken.end(), bytes.begin());
    return length;
}

struct ScriptedLink final : ClockLink {
    explicit ScriptedLink(Input& input) : script(input) {}

    uint64_t Now() override { return 0; }
    ssize_t Send(const ClockPacket::Bytes& bytes) override { return ssize_t(bytes.size()); }
    int Wait(uint32_t) override { return 1; }
    ssize_t Receive(ClockPacket::Bytes& bytes, IPAddress& from, uint16_t& fromPort) override {
        from = kServer;
        fromPort = 5010;
        return Take(script, bytes);
    }

    Input& script;
};

void CheckServer(const ClockPacket::Bytes& bytes, uint8_t length) {
    const bool isGood = length == ClockPacket::kSize && bytes[0] == 'S' && bytes[1] == 'C';
    const Clock clock;
    ClockPacket::Bytes reply = bytes;
    Require(Failure([&] { AnswerTimeRequest(reply, length, clock); }).empty() == isGood,
            "a bad packet is answered, or a good one refused");
    if (!isGood)
        return;
    ClockPacket packet = ClockPacket::Decode(bytes, length);
    Require(packet.Encode() == bytes, "other bytes than were read");
    packet.time = clock.time;
    Require(packet.Encode() == reply, "the reply is not the request with the time");
}

}  // namespace

void CheckInput(Input& input) {
    ClockPacket::Bytes bytes{};
    const uint8_t length = Take(input, bytes);
    CheckServer(bytes, length);
    Clock clock;
    ScriptedLink link(input);
    ClockExchange exchange(link, kServer, 5010, clock);
    while (!input.IsEmpty()) {
        uint32_t expected = clock.time;  // a failure does not set it
        Failure([&] { expected = exchange.Run().target; });
        Require(clock.time == expected, "the clock was not set as told");
    }
}

}  // namespace quarn::test
