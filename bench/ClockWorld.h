#pragma once

#include <quarn/IPAddress.h>
#include <quarn/SettableMicrosecondClock.h>

#include "services/ClockExchange.h"

#include <errno.h>
#include <stdlib.h>

#include <algorithm>
#include <random>
#include <string>

namespace quarn::bench {

inline const IPAddress LOOPBACK(std::string("127.0.0.1"));

/// A clock server and a client in simulated time, who exchange datagrams by the protocol's own code.
class ClockWorld {
public:
    /// A datagram takes up to `maxDelayUs` each way, any delay being as likely as another; the client's crystal runs fast
    /// by `driftPpm`.
    ClockWorld(uint32_t seed, int64_t maxDelayUs, int64_t driftPpm) : ether_(seed, maxDelayUs, driftPpm) {}

    /// Calls each(seconds, by how many microseconds the client's clock is ahead) every millisecond. The intervals between
    /// exchanges come from rand().
    template <class Each>
    void Run(double seconds, Each&& each) {
        ClientClock clock(ether_);
        ClockExchange exchange(ether_, LOOPBACK, PORT, clock);
        while (ether_.Seconds() < seconds) {
            exchange.DiscardLateReplies();
            exchange.Run();
            for (int32_t left = ClockPollInterval(rand()); left > 0; --left) {
                each(ether_.Seconds(), int32_t(clock.GetMicrosecondClock() - ether_.ServerClock()));
                ether_.Advance(NS_PER_MS);
            }
        }
    }

private:
    static constexpr uint16_t PORT = 5010;
    static constexpr int64_t NS_PER_MS = 1000000;

    // What is between the two, and the server; it knows the true time in nanoseconds.
    class Ether final : public ClockLink, public MicrosecondClock {
    public:
        Ether(uint32_t seed, int64_t maxDelayUs, int64_t driftPpm)
            : random_(seed), delayNs_(0, maxDelayUs * 1000), driftPpm_(driftPpm) {}

        // The server's clock. Its counter is about to wrap.
        uint32_t GetMicrosecondClock() const override { return MicrosecondsAt(serverAsked_); }
        uint32_t ServerClock() const { return MicrosecondsAt(now_); }
        // What the client's crystal makes of the time.
        uint64_t Now() override { return uint64_t(now_ + now_ / 1000000 * driftPpm_) / 1000; }

        ssize_t Send(const ClockPacket::Bytes& bytes) override {
            reply_ = bytes;
            serverAsked_ = now_ + delayNs_(random_);
            AnswerTimeRequest(reply_, ssize_t(reply_.size()), *this);
            replyArrives_ = serverAsked_ + delayNs_(random_);
            return ssize_t(bytes.size());
        }
        int Wait(uint32_t milliseconds) override {
            const int64_t limit = now_ + milliseconds * NS_PER_MS;
            now_ = replyArrives_ != 0 ? std::clamp(replyArrives_, now_, limit) : limit;
            return replyArrives_ != 0 && replyArrives_ <= now_;
        }
        ssize_t Receive(ClockPacket::Bytes& bytes, IPAddress& from, uint16_t& fromPort) override {
            if (replyArrives_ == 0 || replyArrives_ > now_) {
                errno = EAGAIN;
                return -1;
            }
            bytes = reply_;
            from = LOOPBACK;
            fromPort = PORT;
            replyArrives_ = 0;
            return ssize_t(bytes.size());
        }

        void Advance(int64_t ns) { now_ += ns; }
        double Seconds() const { return double(now_) / 1e9; }

    private:
        static uint32_t MicrosecondsAt(int64_t ns) { return uint32_t(ns / 1000) - 1000000; }

        std::mt19937 random_;
        std::uniform_int_distribution<int64_t> delayNs_;
        const int64_t driftPpm_;
        int64_t now_ = NS_PER_MS;
        int64_t serverAsked_ = 0;
        int64_t replyArrives_ = 0;  // 0 for none under way
        ClockPacket::Bytes reply_ = {};
    };

    struct ClientClock final : SettableMicrosecondClock {
        explicit ClientClock(Ether& e) : ether(e) {}
        uint32_t GetMicrosecondClock() const override { return uint32_t(ether.Now()) + adjustment; }
        uint32_t SetMicrosecondClock(uint32_t time) override {
            const uint32_t before = GetMicrosecondClock();
            adjustment = time - uint32_t(ether.Now());
            return before;
        }
        uint32_t GetAdjustment() const override { return adjustment; }

        Ether& ether;
        uint32_t adjustment = 0;
    };

    Ether ether_;
};

}  // namespace quarn::bench
