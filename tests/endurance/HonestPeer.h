#pragma once

#include "ctl/UnitClient.h"
#include "endurance/Chore.h"
#include "endurance/Latencies.h"

#include <optional>
#include <string>

namespace endurance {

/// A client that sets a variable and asks for it, over and over, on a thread of its own. What it sets counts up, and
/// nobody else may set it, so that a message lost, doubled or applied wrongly shows.
class HonestPeer {
public:
    HonestPeer(const unit::Endpoint& unit, const std::string& key, uint32_t pauseMs)
        : unit_(unit), key_(key), chore_(key, pauseMs, [this] { SetAndAsk(); }) {}

    /// Ends the thread. The reason for which it ended before, or an empty text.
    std::string End() { return chore_.End(); }
    /// From setting to having read back. After End().
    const Latencies& Times() const { return times_; }

private:
    void SetAndAsk();

    const unit::Endpoint unit_;
    const std::string key_;
    std::optional<unit::UnitClient> client_;
    uint32_t count_ = 0;
    Latencies times_;
    Chore chore_;
};

}  // namespace endurance
