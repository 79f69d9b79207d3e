#include "Counters.h"

namespace quarn::sim {

namespace {

using Wide = unsigned __int128;

constexpr uint64_t kNanosecondsPerSecond = 1000000000;
constexpr uint64_t kTimerHertz = 26000000;

// The first of three registers each, by word.
constexpr size_t kClockControl = 0x00 / 4;
constexpr size_t kCounterControl = 0x0C / 4;
constexpr size_t kCounterValue = 0x18 / 4;
constexpr size_t kInterval = 0x24 / 4;
constexpr size_t kMatch = 0x30 / 4;
constexpr size_t kCounters = 3;

constexpr uint32_t kExternalSource = 0x20;
// In the counter control.
constexpr uint32_t kStopped = 0x01;
constexpr uint32_t kIntervalMode = 0x02;
constexpr uint32_t kDown = 0x04;
constexpr uint32_t kMatchMode = 0x08;
constexpr uint32_t kReset = 0x10;
constexpr uint32_t kNoOutput = 0x20;

uint64_t Edges(uint64_t nanoseconds, uint64_t hertz) {
    return uint64_t(Wide(nanoseconds) * hertz / kNanosecondsPerSecond);
}

bool IsOneOf(size_t word, size_t first) {
    return word >= first && word < first + kCounters;
}

}  // namespace

uint32_t FreeCounter::Elapsed(uint64_t now) const {
    return uint32_t(Edges(now, hertz_));
}

uint32_t FreeCounter::Read(size_t, uint64_t now) {
    return start_ + Elapsed(now);
}

void FreeCounter::Set(size_t, uint32_t value, uint64_t now) {
    start_ = value - Elapsed(now);
}

TimerBlock::TimerBlock() {
    for (size_t i = 0; i < kCounters; ++i)
        words_[kCounterControl + i] = kStopped | kNoOutput;
}

uint32_t TimerBlock::Read(size_t offset, uint64_t now) {
    CatchUp(now);
    return words_[offset / sizeof(uint32_t)];
}

void TimerBlock::Write(size_t offset, uint32_t value, uint64_t now) {
    if (!IsOneOf(offset / sizeof(uint32_t), kCounterValue))
        Set(offset, value, now);
}

void TimerBlock::Set(size_t offset, uint32_t value, uint64_t now) {
    CatchUp(now);
    const size_t word = offset / sizeof(uint32_t);
    if (IsOneOf(word, kCounterControl) && (value & kReset)) {
        words_[word - kCounterControl + kCounterValue] = 0;
        value &= ~kReset;  // it clears itself
    }
    words_[word] = value;
}

void TimerBlock::CatchUp(uint64_t now) {
    const uint64_t edges = Edges(now, kTimerHertz) - Edges(caughtUp_, kTimerHertz);
    caughtUp_ = now;
    const uint64_t periods = Advance(0, HasExternalClock(0) ? edges : 0);
    Advance(1, HasExternalClock(1) && DrivesOutput(0) ? periods : 0);
}

/// Returns how often the counter came round.
uint64_t TimerBlock::Advance(size_t counter, uint64_t ticks) {
    if (words_[kCounterControl + counter] & (kStopped | kDown))
        return 0;
    uint32_t& value = words_[kCounterValue + counter];
    const uint64_t total = value + ticks;
    value = uint32_t(total % Modulus(counter));
    return total / Modulus(counter);
}

uint64_t TimerBlock::Modulus(size_t counter) const {
    return (words_[kCounterControl + counter] & kIntervalMode) ? uint64_t{words_[kInterval + counter]} + 1
                                                               : uint64_t{1} << 32;
}

bool TimerBlock::HasExternalClock(size_t counter) const {
    return (words_[kClockControl + counter] & kExternalSource) != 0;
}

/// The output changes at the match and at the end of the interval, which must not fall together.
bool TimerBlock::DrivesOutput(size_t counter) const {
    const uint32_t control = words_[kCounterControl + counter];
    return (control & kIntervalMode) && (control & kMatchMode) && !(control & kNoOutput) &&
           words_[kMatch + counter] != 0 && words_[kMatch + counter] < words_[kInterval + counter];
}

}  // namespace quarn::sim
