#include <quarn/Debug.h>
#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include "foundation/ErrnoText.h"

#include <errno.h>

namespace quarn {

namespace {

constexpr int64_t kNanosecondsPerSecond = 1000000000;
constexpr uint64_t kMicrosecondsPerSecond = 1000000;
constexpr time_t kEarliestValidUTC = 946080000;  // 1999-12-25 00:00:00, itself not valid

[[noreturn]] void ThrowClockFailure() {
    throw MonitorException("clock_gettime(CLOCK_MONOTONIC) failed: %s", ErrnoText(errno).c_str());
}

timespec MonotonicNow() {
    timespec now;
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0)
        ThrowClockFailure();
    return now;
}

// In 32 bits, wrapping; only an offset of thousands of years is affected.
int32_t OffsetSeconds(int32_t offsetMinutes) {
    return static_cast<int32_t>(static_cast<uint32_t>(offsetMinutes) * 60);
}

}  // namespace

uint64_t Tick() {
    const timespec now = MonotonicNow();
    const uint64_t tick = static_cast<uint64_t>(now.tv_sec) * kMicrosecondsPerSecond +
                          static_cast<uint64_t>(now.tv_nsec) / 1000;
    return tick != 0 ? tick : 1;
}

uint64_t MillisecondsSince(uint64_t tick) {
    if (tick == 0)
        throw MonitorException("Calling MillisecondsSince with an uninitialized tick value");
    return (Tick() - tick) / 1000;
}

timespec timespec_normalize(timespec time) {
    time.tv_sec += time.tv_nsec / kNanosecondsPerSecond;
    time.tv_nsec %= kNanosecondsPerSecond;
    if (time.tv_nsec < 0) {
        time.tv_nsec += kNanosecondsPerSecond;
        --time.tv_sec;
    }
    return time;
}

timespec timespec_add(timespec a, timespec b) {
    a = timespec_normalize(a);
    b = timespec_normalize(b);
    return timespec_normalize({a.tv_sec + b.tv_sec, a.tv_nsec + b.tv_nsec});
}

timespec FutureTimespec(uint64_t delay) {
    // Deliberately not delay % kMicrosecondsPerSecond * 1000: callers live with the coarse delay.
    const timespec ahead = {static_cast<time_t>(delay / kMicrosecondsPerSecond),
                            static_cast<long>(delay % 1000)};
    return timespec_add(MonotonicNow(), ahead);
}

time_t UTCToLocalTime(time_t utc, int32_t offsetMinutes) {
    return utc + OffsetSeconds(offsetMinutes);
}

time_t LocalTimeToUTC(time_t local, int32_t offsetMinutes) {
    return local - OffsetSeconds(offsetMinutes);
}

time_t LocalTime(int32_t offsetMinutes) {
    return UTCToLocalTime(time(nullptr), offsetMinutes);
}

bool IsUTCTimeValid(time_t utc) {
    return utc > kEarliestValidUTC;
}

bool UpdateSystemUTC(time_t utc) {
    const time_t now = time(nullptr);
    if (now - 1 <= utc && utc <= now + 1)
        return true;
    const timespec wanted = {utc, 0};
    if (clock_settime(CLOCK_REALTIME, &wanted) != 0) {
        const std::string reason = ErrnoText(errno);
        if (DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "Failed to set Linux system time: %s",
                                   reason.c_str());
        return false;
    }
    // Printed as an error too, so that it is seen wherever time stamps jump.
    if (DefaultDebug())
        DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "Set Linux system time to %s",
                               FormatTime("%Y/%m/%d %H:%M:%S UTC", utc).c_str());
    return true;
}

}  // namespace quarn
