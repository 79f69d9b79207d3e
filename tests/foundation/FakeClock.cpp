#include "foundation/FakeClock.h"

#include <errno.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace quarn::test {

namespace {

FakeClock* current;

int Result(int error) {
    errno = error != 0 ? error : errno;
    return error != 0 ? -1 : 0;
}

}  // namespace

FakeClock::FakeClock(uint64_t microseconds) : now(microseconds) {
    current = this;
}

FakeClock::~FakeClock() {
    current = nullptr;
}

// The program's own definitions come before those of the C library.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    if (!current || clock != CLOCK_MONOTONIC)
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    *time = {static_cast<time_t>(current->now / 1000000), static_cast<long>(current->now % 1000000 * 1000)};
    return Result(current->readError);
}

extern "C" int clock_settime(clockid_t clock, const timespec* time) noexcept {
    if (!current || clock != CLOCK_REALTIME)
        return Result(EPERM);
    current->settings.push_back(*time);
    return Result(current->setError);
}

}  // namespace quarn::test
