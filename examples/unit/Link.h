#pragma once

#include "common/Endpoint.h"
#include "unit/Peer.h"

#include <stdint.h>

namespace unit {

/// Another unit that this one keeps a connection to: a TCPConnection never reconnects, so each attempt is a
/// new one, and the time between attempts doubles up to a limit while they fail.
class Link {
public:
    explicit Link(const Endpoint& endpoint) : endpoint_(endpoint) {}

    /// Microseconds (of Tick) at which the link needs attention: its next attempt, or the end of the time
    /// that the one under way may take. UINT64_MAX while it is connected.
    uint64_t Deadline() const;

    /// A new connection when the time for an attempt has come and none is there, else null.
    std::unique_ptr<Peer> TryConnect();

    bool Owns(const Peer& peer) const { return peer_ == &peer; }
    /// The connection stands: the next failure is retried soon.
    void Connected();
    /// The connection is gone; another attempt follows.
    void Disconnected();

private:
    Endpoint endpoint_;
    const Peer* peer_ = nullptr;
    bool connected_ = false;
    uint64_t attemptTick_ = 0;
    uint64_t retryTick_ = 0;
    uint64_t delayMs_ = 0;
};

}  // namespace unit
