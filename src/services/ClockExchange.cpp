#include "services/ClockExchange.h"

#include <quarn/MonitorException.h>
#include <quarn/SettableMicrosecondClock.h>

#include "foundation/ErrnoText.h"

#include <errno.h>

#include <algorithm>
#include <numeric>

namespace quarn {

namespace {

constexpr size_t kMaxDiscarded = 1000;
constexpr uint32_t kReplyLimitMs = 10;
constexpr int32_t kPollIntervalMs = 200;

}  // namespace

size_t ClockExchange::DiscardLateReplies() {
    ClockPacket::Bytes bytes;
    IPAddress from;
    uint16_t fromPort = 0;
    size_t count = 0;
    while (count < kMaxDiscarded && link_.Receive(bytes, from, fromPort) >= 0)
        ++count;
    return count;
}

ClockExchange::Result ClockExchange::Run() {
    Result result = {};
    const uint32_t time = AskServer(++sequence_, result.roundTrip);
    result.average = AverageWith(result.roundTrip);
    result.target = result.average / 2 + time;
    result.previous = clock_.SetMicrosecondClock(result.target);
    return result;
}

uint32_t ClockExchange::AskServer(uint16_t sequence, uint32_t& roundTrip) {
    ClockPacket request;
    request.sequence = sequence;
    const uint64_t start = link_.Now();
    const ssize_t sent = link_.Send(request.Encode());
    if (sent < 0) {
        const int error = errno;
        throw MonitorException("Send to %s failed: %s", server_.ToString().c_str(), ErrnoText(error).c_str());
    }
    if (static_cast<size_t>(sent) != ClockPacket::kSize)
        throw MonitorException("Sent %zu of %zu bytes to %s", static_cast<size_t>(sent), ClockPacket::kSize,
                               server_.ToString().c_str());

    const int ready = link_.Wait(kReplyLimitMs);
    if (ready < 0)
        throw MonitorException("Select failed: %s", ErrnoText(errno).c_str());
    const uint64_t end = link_.Now();
    if (ready == 0)
        throw MonitorException("No response from server within %ums", kReplyLimitMs);

    ClockPacket::Bytes bytes;
    IPAddress from;
    uint16_t fromPort = 0;
    const ssize_t length = link_.Receive(bytes, from, fromPort);
    if (length < 0)
        throw MonitorException("Read failed: %s", ErrnoText(errno).c_str());
    if (from != server_ || fromPort != serverPort_)
        throw MonitorException("Ignoring traffic from %s:%u", from.ToString().c_str(), fromPort);
    const ClockPacket reply = ClockPacket::Decode(bytes, length);
    if (reply.sequence != sequence)
        throw MonitorException("Bad sequence number (got 0x%04X, expected 0x%04X)", reply.sequence, sequence);
    roundTrip = static_cast<uint32_t>(end - start);
    return reply.time;
}

uint32_t ClockExchange::AverageWith(uint32_t roundTrip) {
    roundTrips_[roundTripCount_ % roundTrips_.size()] = roundTrip;
    ++roundTripCount_;
    const uint32_t sum = std::accumulate(roundTrips_.begin(), roundTrips_.end(), uint32_t{0});
    return sum / static_cast<uint32_t>(std::min<uint64_t>(roundTripCount_, roundTrips_.size()));
}

int32_t ClockPollInterval(int32_t random) {
    const int32_t jitter = random / 2 % 10;
    return random % 2 != 0 ? kPollIntervalMs - jitter : kPollIntervalMs + jitter;
}

}  // namespace quarn
