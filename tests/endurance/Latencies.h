#pragma once

#include <quarn/Text.h>

#include <stdint.h>

#include <algorithm>
#include <string>
#include <vector>

namespace endurance {

/// Times in microseconds.
class Latencies {
public:
    void Add(uint64_t us) { times_.push_back(us); }
    void Add(const Latencies& others) {
        times_.insert(times_.end(), others.times_.begin(), others.times_.end());
    }

    /// "median 85 us, 99 % 210 us, worst 1503 us of 12345".
    std::string ToString() {
        if (times_.empty())
            return "none";
        std::sort(times_.begin(), times_.end());
        return quarn::Format("median %lu us, 99 %% %lu us, worst %lu us of %zu", times_[times_.size() / 2],
                             times_[times_.size() * 99 / 100], times_.back(), times_.size());
    }

private:
    std::vector<uint64_t> times_;
};

}  // namespace endurance
