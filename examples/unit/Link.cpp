#include "unit/Link.h"

#include <quarn/LocalTime.h>

#include <algorithm>

namespace unit {

namespace {

constexpr uint64_t kFirstDelayMs = 100;
constexpr uint64_t kLongestDelayMs = 5000;
// A connection gives up its attempt when it is asked to work after more than 1000 ms.
constexpr uint64_t kAttemptMs = 1002;

}  // namespace

uint64_t Link::Deadline() const {
    if (!peer_)
        return retryTick_;
    return connected_ ? UINT64_MAX : attemptTick_ + kAttemptMs * 1000;
}

std::unique_ptr<Peer> Link::TryConnect() {
    if (peer_ || quarn::Tick() < retryTick_)
        return nullptr;
    attemptTick_ = quarn::Tick();
    auto connection = std::make_unique<quarn::TCPConnection>("link to " + endpoint_.ToString(),
                                                             endpoint_.address, endpoint_.port);
    if (!connection->IsAlive()) {
        Disconnected();
        return nullptr;
    }
    auto peer = std::make_unique<Peer>(std::move(connection), true);
    peer_ = peer.get();
    return peer;
}

void Link::Connected() {
    connected_ = true;
    delayMs_ = 0;
}

void Link::Disconnected() {
    peer_ = nullptr;
    connected_ = false;
    delayMs_ = std::clamp(delayMs_ * 2, kFirstDelayMs, kLongestDelayMs);
    retryTick_ = quarn::Tick() + delayMs_ * 1000;
}

}  // namespace unit
