#include <quarn/LocalTime.h>
#include <quarn/MicrosecondClockSoftware.h>

namespace quarn {

uint32_t MicrosecondClockSoftware::GetRaw() const {
    return static_cast<uint32_t>(Tick());
}

uint32_t MicrosecondClockSoftware::GetMicrosecondClock() const {
    return GetRaw() + GetAdjustment();
}

uint32_t MicrosecondClockSoftware::SetMicrosecondClock(uint32_t time) {
    const uint32_t before = GetMicrosecondClock();
    // The counter is read again, so that the clock is right when this returns and not when it began.
    SetAdjustment(time - GetRaw());
    return before;
}

}  // namespace quarn
