#pragma once

#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include "endurance/Chore.h"
#include "examples/Ask.h"

#include <stdlib.h>

#include <algorithm>
#include <string>
#include <vector>

namespace endurance {

/// In microseconds.
using Latencies = std::vector<uint64_t>;

/// "median 85 us, 99 % 210 us, worst 1503 us of 12345".
inline std::string Describe(Latencies times) {
    if (times.empty())
        return "none";
    std::sort(times.begin(), times.end());
    return quarn::Format("median %lu us, 99 %% %lu us, worst %lu us of %zu", times[times.size() / 2],
                         times[times.size() * 99 / 100], times.back(), times.size());
}

/// A client that sets a variable and asks for it, over and over, on a thread of its own. What it sets counts up, and
/// nobody else may set it, so that a message lost, doubled or applied wrongly shows.
class HonestPeer {
public:
    HonestPeer(const unit::Endpoint& unit, const std::string& key, uint32_t pauseMs)
        : key_(key), client_(unit, 5000), chore_(key, pauseMs, [this] { SetAndAsk(); }) {}

    /// Ends the thread and adds the times from setting to having read back.
    void End(Latencies& times) {
        chore_.End();
        times.insert(times.end(), times_.begin(), times_.end());
    }

private:
    void SetAndAsk() {
        const uint32_t value = ++count_ % 60000;  // fits each variable that a peer counts in
        const uint64_t start = quarn::Tick();
        unit::Set(client_, key_, std::to_string(value));
        const std::string got = unit::Ask(client_, key_);
        times_.push_back(quarn::Tick() - start);
        if (strtod(got.c_str(), nullptr) != value)
            throw quarn::MonitorException("it is \"%s\" after setting it to %u", got.c_str(), value);
    }

    const std::string key_;
    unit::UnitClient client_;
    uint32_t count_ = 0;
    Latencies times_;
    Chore chore_;
};

}  // namespace endurance
