#pragma once

/// A clock that units share: 32 bits of microseconds, wrapping from 0xFFFFFFFF to 0 every 71.6 minutes.
///
///     uint32_t Elapsed(const quarn::MicrosecondClock& clock, uint32_t since) {
///         return clock.GetMicrosecondClock() - since;  // right across a wrap, up to one round
///     }

#include <quarn/Attributes.h>

#include <stdint.h>

namespace quarn {

class QUARN_API MicrosecondClock {
public:
    /// The time now. Throws MonitorException if the clock's source can fail, as the implementation says.
    virtual uint32_t GetMicrosecondClock() const = 0;

protected:
    // Nobody owns a clock through this interface.
    ~MicrosecondClock() = default;
};

}  // namespace quarn
