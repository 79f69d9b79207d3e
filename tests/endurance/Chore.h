#pragma once

#include <quarn/quarn.h>

#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

namespace endurance {

inline std::atomic<bool> hasFailed{false};

inline void Fail(const std::string& reason) {
    printf("FAILED: %s\n", reason.c_str());
    hasFailed = true;
}

/// Does the work. Its MonitorExceptions are failures.
inline void Perform(const std::string& name, const std::function<void()>& work) {
    try {
        work();
    } catch (const quarn::MonitorException& e) {
        Fail(name + ": " + e.Description());
    }
}

/// What a main() that does the work returns.
inline int StatusOf(const std::function<void()>& work) {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    Perform("the run", work);
    return hasFailed;
}

/// How long something took, each time, on whatever thread.
class Latencies {
public:
    void Add(uint64_t microseconds) {
        const std::lock_guard guard(mutex_);
        times_.push_back(microseconds);
    }
    /// "median 85 us, 99 % 210 us, worst 1503 us of 12345", once no more are to come.
    std::string ToString() {
        if (times_.empty())
            return "none";
        std::ranges::sort(times_);
        const size_t count = times_.size();
        return quarn::Format("median %lu us, 99 %% %lu us, worst %lu us of %zu", times_[count / 2],
                             times_[count * 99 / 100], times_.back(), count);
    }

private:
    std::mutex mutex_;
    std::vector<uint64_t> times_;
};

/// Performs the work over and over, on a thread that ends with the object, and adds how long each round takes.
inline std::jthread Repeat(const std::string& name, uint32_t pauseMs, Latencies& times,
                           const std::function<void()>& work) {
    return std::jthread([=, &times](const std::stop_token& end) {
        uint64_t rounds = 0;
        Perform(name, [&] {
            for (; !end.stop_requested(); usleep(pauseMs * 1000), ++rounds) {
                const uint64_t start = quarn::Tick();
                work();
                times.Add(quarn::Tick() - start);
            }
        });
        printf("%s: %lu rounds\n", name.c_str(), rounds);
        if (rounds == 0)
            Fail(name + " did nothing");
    });
}

}  // namespace endurance
