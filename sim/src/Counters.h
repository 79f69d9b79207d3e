#pragma once

#include "PhysicalMemory.h"

#include <array>

namespace quarn::sim {

/// One word that counts so many times a second.
class FreeCounter final : public RegisterBlock {
public:
    explicit FreeCounter(uint32_t hertz) : hertz_(hertz) {}

    uint32_t Read(size_t offset, uint64_t now) override;
    void Write(size_t, uint32_t, uint64_t) override {}
    void Set(size_t offset, uint32_t value, uint64_t now) override;

private:
    uint32_t Elapsed(uint64_t now) const;

    const uint32_t hertz_;
    uint32_t start_ = 0;
};

/// A triple timer counter, of which the board feeds counter 1 with an external clock of 26 MHz and counter 2
/// with the output of counter 1. Other sources do not tick, and counting down is not simulated: such a counter
/// stands still.
class TimerBlock final : public RegisterBlock {
public:
    static constexpr size_t kSize = 0x100;

    TimerBlock();

    uint32_t Read(size_t offset, uint64_t now) override;
    void Write(size_t offset, uint32_t value, uint64_t now) override;
    void Set(size_t offset, uint32_t value, uint64_t now) override;

private:
    void CatchUp(uint64_t now);
    uint64_t Advance(size_t counter, uint64_t ticks);
    uint64_t Modulus(size_t counter) const;
    bool HasExternalClock(size_t counter) const;
    bool DrivesOutput(size_t counter) const;

    std::array<uint32_t, kSize / sizeof(uint32_t)> words_{};
    uint64_t caughtUp_ = 0;  // nanoseconds
};

}  // namespace quarn::sim
