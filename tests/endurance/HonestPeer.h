#pragma once

#include "ctl/UnitClient.h"
#include "endurance/Latencies.h"

#include <atomic>
#include <string>
#include <thread>

namespace endurance {

/// A client that sets a variable and asks for it, over and over, on a thread of its own. What it sets counts up, and
/// nobody else may set it, so that a message lost, doubled or applied wrongly shows.
class HonestPeer {
public:
    HonestPeer(const unit::Endpoint& unit, const std::string& key, uint32_t pauseUs);
    ~HonestPeer();
    HonestPeer(const HonestPeer&) = delete;
    HonestPeer& operator=(const HonestPeer&) = delete;

    /// Ends the thread. The reason for which it ended before, or an empty text.
    std::string End();
    /// From setting to having read back. After End().
    const Latencies& Times() const { return times_; }

private:
    void Run();
    void SetAndAsk(unit::UnitClient& client, uint32_t value);

    const unit::Endpoint unit_;
    const std::string key_;
    const uint32_t pauseUs_;
    Latencies times_;
    std::string failure_;
    std::atomic<bool> isEnding_{false};
    std::thread thread_;
};

}  // namespace endurance
