#include "foundation/FoundationTest.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace quarn::test {

// The program's own definitions come before those of the C library.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const FakeClock* const fake = FakeClock::current;
    if (!fake || clock != CLOCK_MONOTONIC)
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    *time = {static_cast<time_t>(fake->now / 1000000), static_cast<long>(fake->now % 1000000 * 1000)};
    errno = fake->readError;
    return errno != 0 ? -1 : 0;
}

extern "C" int clock_settime(clockid_t, const timespec* time) noexcept {
    if (FakeClock::current)
        FakeClock::current->settings.push_back(*time);
    errno = FakeClock::current ? FakeClock::current->setError : EPERM;
    return errno != 0 ? -1 : 0;
}

}  // namespace quarn::test
