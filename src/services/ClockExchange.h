#pragma once

#include <quarn/IPAddress.h>

#include "services/ClockPacket.h"

#include <array>

namespace quarn {

class SettableMicrosecondClock;

/// What an exchange needs of the world around it: the way to its server, and the time. The calls behave like
/// the system calls behind them, errno included. A simulation has a link of its own.
class ClockLink {
public:
    /// In microseconds.
    virtual uint64_t Now() = 0;
    /// To the server, as send().
    virtual ssize_t Send(const ClockPacket::Bytes& bytes) = 0;
    /// Until a datagram waits: 1 when there is one, 0 when the time is over, -1 for a failure.
    virtual int Wait(uint32_t milliseconds) = 0;
    /// Without waiting. Returns the datagram's own length, of which at most ClockPacket::kSize bytes are
    /// stored, or -1.
    virtual ssize_t Receive(ClockPacket::Bytes& bytes, IPAddress& from, uint16_t& fromPort) = 0;

protected:
    ~ClockLink() = default;
};

/// The client's side of the clock protocol, one exchange at a time.
class ClockExchange {
public:
    /// What one exchange came to.
    struct Result {
        uint32_t roundTrip;  ///< in microseconds
        uint32_t average;    ///< of the last ten round trips
        uint32_t target;     ///< what the clock was set to
        uint32_t previous;   ///< what SetMicrosecondClock() returned
    };

    /// Link and clock must outlive the object.
    ClockExchange(ClockLink& link, const IPAddress& server, uint16_t serverPort,
                  SettableMicrosecondClock& clock)
        : link_(link), server_(server), serverPort_(serverPort), clock_(clock) {}

    /// Drops the replies that came too late for their own exchange. Returns how many datagrams there were; it
    /// stops at a thousand, so that a flood cannot hold it.
    size_t DiscardLateReplies();

    /// Asks the server, waits for the answer, 10 ms at most, and sets the clock to the time in it plus half
    /// the average round trip. Throws MonitorException, with the clock left as it was, when any of that
    /// fails.
    Result Run();

private:
    /// Sends a request and returns the time in its reply.
    uint32_t AskServer(uint16_t sequence, uint32_t& roundTrip);
    uint32_t AverageWith(uint32_t roundTrip);

    ClockLink& link_;
    const IPAddress server_;
    const uint16_t serverPort_;
    SettableMicrosecondClock& clock_;
    uint16_t sequence_ = 0;
    std::array<uint32_t, 10> roundTrips_ = {};  // a ring
    uint64_t roundTripCount_ = 0;               // of all that were measured
};

/// How many milliseconds the client waits before its next exchange: 191 to 209, decided by what rand()
/// returned, so that many clients do not ask in step.
int32_t ClockPollInterval(int32_t random);

}  // namespace quarn
