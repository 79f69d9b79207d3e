#pragma once

#include <quarn/DeviceIO.h>
#include <quarn/MemoryMapping.h>

#include <stddef.h>
#include <stdint.h>

#include <atomic>
#include <list>
#include <string>

namespace quarn {

/// A block of registers, one of which counts microseconds, and the adjustment that makes a clock of it.
class MappedCounter {
public:
    MappedCounter(uint64_t physicalBase, size_t length, size_t counterOffset, DeviceIO& io);

    uint32_t Read(size_t offset) const { return io_.Read32(words_ + offset / sizeof(uint32_t)); }
    void Write(size_t offset, uint32_t value) { io_.Write32(words_ + offset / sizeof(uint32_t), value); }

    uint32_t GetRaw() const { return Read(counterOffset_); }
    uint32_t Now() const { return GetRaw() + GetAdjustment(); }
    /// Returns the time just before.
    uint32_t Set(uint32_t time);
    uint32_t GetAdjustment() const { return adjustment_.load(std::memory_order_relaxed); }
    void SetAdjustment(uint32_t value) { adjustment_.store(value, std::memory_order_relaxed); }

    /// The lines of the subcommands that all counters have.
    std::list<std::string> Show() const;
    std::list<std::string> Check() const;

private:
    DeviceIO& io_;
    const MemoryMapping mapping_;
    volatile uint32_t* const words_;
    const size_t counterOffset_;
    std::atomic<uint32_t> adjustment_{0};
};

}  // namespace quarn
