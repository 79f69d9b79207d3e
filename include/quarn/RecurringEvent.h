#pragma once

/// Measures how often and how long a recurring piece of work runs.
///
///     quarn::RecurringEvent event("poll");
///     event.Enter();
///     Poll();
///     event.Leave();  // an Enter() without Leave() is simply restarted by the next Enter()
///     std::list<std::string> lines;
///     event.Log(lines);
///
/// Not locked: one thread uses an event, or its owner serialises the calls. Enter(), Leave() and nothing else
/// throw MonitorException, when the monotonic clock cannot be read.

#include <quarn/Attributes.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <string>

namespace quarn {

class QUARN_API RecurringEvent {
public:
    explicit RecurringEvent(const char* name);
    ~RecurringEvent();
    RecurringEvent(const RecurringEvent&) = delete;
    RecurringEvent& operator=(const RecurringEvent&) = delete;

    /// Begins an occurrence.
    void Enter();
    /// Completes the occurrence; does nothing when none has begun.
    void Leave();
    /// Starts the figures afresh. An occurrence under way is not forgotten and becomes the first one.
    void Clear();
    /// Takes over the figures of another event, an occurrence under way included, but neither its name nor
    /// what GetCumulativeDurationUs() returns.
    void Copy(const RecurringEvent& other);

    bool HasHappened() const;
    uint64_t GetEventCount() const;
    /// The longest duration in microseconds, 0 before the first occurrence.
    uint64_t GetMaximumDurationUs() const;
    /// The number of occurrences completed since construction or Clear(). Despite its name this is
    /// deliberately a count and not a sum of durations: callers rely on it.
    uint64_t GetCumulativeDurationUs() const;

    /// Appends the report: one line for none or one occurrence; else a heading, the intervals between starts
    /// and the durations, each with its extremes ever and with minimum, average and maximum of the last ten.
    void Log(std::list<std::string>& lines) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
