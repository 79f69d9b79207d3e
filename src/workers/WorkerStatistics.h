#pragma once

#include <quarn/RecurringEvent.h>

#include "workers/WaitSet.h"

#include <stdint.h>

#include <atomic>
#include <list>
#include <map>
#include <mutex>
#include <string>

namespace quarn {

/// Counts what a worker does. Has a mutex of its own, held for moments only, so that figures can be read
/// while the worker is busy or finishing and its lock is refused.
class WorkerStatistics {
public:
    void CountWait(const Wakeup& wakeup);
    void EnterWork();
    void LeaveWork();

    /// Zeroes all figures; descriptors that caused wake-ups stay listed.
    void Clear();

    /// The calls of Work() that were completed; an atomic read.
    uint64_t GetRuns() const { return runs_; }

    /// Appends the report on the worker; the descriptions are those of the descriptors being watched.
    void Describe(const std::string& name, const char* status, const std::map<int, std::string>& descriptions,
                  std::list<std::string>& lines) const;

private:
    struct Counters {
        uint64_t wakeups = 0;
        uint64_t timeouts = 0;
        uint64_t events = 0;
        uint64_t workCalls = 0;
        std::map<int, uint64_t> wakeCounts{};
    };

    mutable std::mutex mutex_;
    Counters counters_;
    RecurringEvent work_{"work"};
    std::atomic<uint64_t> runs_{0};
};

}  // namespace quarn
