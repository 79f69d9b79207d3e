#pragma once

/// A microsecond clock over the system's monotonic clock, for units without a hardware counter.
///
///     quarn::MicrosecondClockSoftware clock;
///     quarn::SyncedClockClient client(nullptr, quarn::IPAddress(), server, 5010, clock);
///     ...
///     try {
///         Stamp(clock.GetMicrosecondClock());
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());  // no monotonic clock on this system
///     }
///
/// The counter goes on across restarts of the process, with the adjustment back at 0. Any thread may call any
/// function; there is no lock. Reading and setting at the same time is safe. Of two threads that set the
/// clock at the same time one wins. What reads the clock throws as Tick() does.

#include <quarn/Attributes.h>
#include <quarn/SettableMicrosecondClock.h>

#include <stdint.h>

#include <atomic>

namespace quarn {

class QUARN_API MicrosecondClockSoftware final : public SettableMicrosecondClock {
public:
    uint32_t GetMicrosecondClock() const override;
    uint32_t SetMicrosecondClock(uint32_t time) override;
    uint32_t GetAdjustment() const override { return adjustment_.load(std::memory_order_relaxed); }

    void SetAdjustment(uint32_t adjustment) { adjustment_.store(adjustment, std::memory_order_relaxed); }

    /// The counter: the lower 32 bits of Tick().
    uint32_t GetRaw() const;

private:
    std::atomic<uint32_t> adjustment_{0};
};

}  // namespace quarn
