#include "workers/WorkerStatistics.h"

#include <quarn/Text.h>

namespace quarn {

namespace {

using Rows = std::list<std::list<std::string>>;

void AddReason(Rows& rows, const std::string& reason, uint64_t count, uint64_t wakeups) {
    const int percent = wakeups == 0 ? 0 : static_cast<int>(count * 100 / wakeups);
    rows.push_back({reason, Format("%lu", count), Format("%d", percent)});
}

}  // namespace

void WorkerStatistics::CountWait(const Wakeup& wakeup) {
    const std::lock_guard guard(mutex_);
    ++counters_.wakeups;
    if (wakeup.timedOut)
        ++counters_.timeouts;
    counters_.events += wakeup.events;
    for (const auto& ready : wakeup.ready)
        ++counters_.wakeCounts[ready.first];
}

void WorkerStatistics::EnterWork() {
    const std::lock_guard guard(mutex_);
    ++counters_.workCalls;
    work_.Enter();
}

void WorkerStatistics::LeaveWork() {
    const std::lock_guard guard(mutex_);
    work_.Leave();
    runs_ = work_.GetEventCount();
}

void WorkerStatistics::Clear() {
    const std::lock_guard guard(mutex_);
    counters_.wakeups = counters_.timeouts = counters_.events = counters_.workCalls = 0;
    for (auto& wakeCount : counters_.wakeCounts)
        wakeCount.second = 0;
    work_.Clear();
    runs_ = 0;
}

void WorkerStatistics::Describe(const std::string& name, const char* status,
                                const std::map<int, std::string>& descriptions,
                                std::list<std::string>& lines) const {
    Counters counters;
    RecurringEvent work("work");
    {
        const std::lock_guard guard(mutex_);
        counters = counters_;
        work.Copy(work_);
    }
    lines.push_back(Format("Worker %s: %s, %lu work calls", name.c_str(), status, counters.workCalls));
    work.Log(lines);
    if (counters.wakeups == 0)
        return;
    lines.push_back("Wakeups by reason (total of item % may exceed 100)");
    Rows rows{{"Reason", "Count", "%"}};
    AddReason(rows, "Timeout", counters.timeouts, counters.wakeups);
    AddReason(rows, "Event", counters.events, counters.wakeups);
    for (const auto& [fd, count] : counters.wakeCounts) {
        const auto description = descriptions.find(fd);
        AddReason(rows,
                  Format("fd %d (%s)", fd,
                         description == descriptions.end() ? "no description" : description->second.c_str()),
                  count, counters.wakeups);
    }
    lines.splice(lines.end(), FormatColumnarList(rows));
}

}  // namespace quarn
