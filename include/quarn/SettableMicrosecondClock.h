#pragma once

/// A MicrosecondClock that can be put right: a counter that nobody can set, plus an adjustment.
///
///     const uint32_t before = clock.SetMicrosecondClock(target);
///     const auto step = static_cast<int32_t>(target - before);  // how far it moved

#include <quarn/Attributes.h>
#include <quarn/MicrosecondClock.h>

#include <stdint.h>

namespace quarn {

class QUARN_API SettableMicrosecondClock : public MicrosecondClock {
public:
    // The order of the virtual functions is fixed.

    /// Makes the time now `time`. Returns the time just before. Throws as GetMicrosecondClock() does, with
    /// the clock left as it was.
    virtual uint32_t SetMicrosecondClock(uint32_t time) = 0;

    /// What is added, modulo 2^32, to the counter; 0 until the clock is first set.
    virtual uint32_t GetAdjustment() const = 0;

protected:
    ~SettableMicrosecondClock() = default;
};

}  // namespace quarn
