#pragma once

/// Time stamps, timespec arithmetic and the conversion between UTC and local time.
///
///     const uint64_t start = quarn::Tick();
///     DoWork();
///     if (quarn::MillisecondsSince(start) > 100)
///         ...
///     if (!quarn::UpdateSystemUTC(utc))
///         RetryLater();  // why it failed has been printed
///
/// All functions are reentrant. A tick is a count of microseconds of the monotonic clock; 0 means that there
/// is no time stamp.

#include <quarn/Attributes.h>

#include <stdint.h>
#include <time.h>

namespace quarn {

/// Now, in microseconds of CLOCK_MONOTONIC; never 0. Throws MonitorException "clock_gettime(CLOCK_MONOTONIC)
/// failed: ..." when the clock cannot be read.
QUARN_API uint64_t Tick();

/// Whole milliseconds from the tick to now. Throws MonitorException "Calling MillisecondsSince with an
/// uninitialized tick value" for 0, and as Tick() does.
QUARN_API uint64_t MillisecondsSince(uint64_t tick);

/// The same time with tv_nsec in 0 to 999999999.
QUARN_API timespec timespec_normalize(timespec time);

/// The sum, normalised.
QUARN_API timespec timespec_add(timespec a, timespec b);

/// The monotonic clock's time plus a delay in microseconds of which only whole seconds count as such: the
/// rest modulo 1000 is added as nanoseconds. That is deliberate and kept; measure short delays with Tick().
/// Throws as Tick() does.
QUARN_API timespec FutureTimespec(uint64_t delay);

/// Seconds since the epoch shifted by minutes east of UTC (the product is computed in 32 bits).
QUARN_API time_t UTCToLocalTime(time_t utc, int32_t offsetMinutes);
QUARN_API time_t LocalTimeToUTC(time_t local, int32_t offsetMinutes);
/// The local time now.
QUARN_API time_t LocalTime(int32_t offsetMinutes);

/// Whether the time is late enough (after 1999-12-25 00:00:00 UTC) to come from a clock that has been set.
QUARN_API bool IsUTCTimeValid(time_t utc);

/// Sets CLOCK_REALTIME to whole seconds unless it lies within one second of them already. Returns true when
/// the clock is right, false when it could not be set; both are printed through the default Debug with mask
/// ERR. Needs the right to set the clock.
QUARN_API bool UpdateSystemUTC(time_t utc);

}  // namespace quarn
