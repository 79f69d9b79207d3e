#include "foundation/FoundationTest.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace quarn::test {
namespace {

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

TEST(LocalTimeTest, TicksInMonotonicMicrosecondsThatAreNeverZero) {
    FakeClock clock(0);
    EXPECT_EQ(Tick(), 1u);
    clock.now = 5000000001;
    EXPECT_EQ(Tick(), 5000000001u);
    EXPECT_EQ(MillisecondsSince(5000000001 - 1999), 1u);
    clock.readError = EINVAL;
    EXPECT_EQ(ThrownMessage([] { Tick(); }), "clock_gettime(CLOCK_MONOTONIC) failed: Invalid argument");
    EXPECT_EQ(ThrownMessage([] { MillisecondsSince(0); }),
              "Calling MillisecondsSince with an uninitialized tick value");
}

void ExpectTime(timespec time, time_t seconds, long nanoseconds) {
    EXPECT_EQ(time.tv_sec, seconds);
    EXPECT_EQ(time.tv_nsec, nanoseconds);
}

TEST(LocalTimeTest, AddsTimes) {
    ExpectTime(timespec_normalize({5, 1000000000}), 6, 0);
    ExpectTime(timespec_normalize({5, -1000000000}), 4, 0);
    ExpectTime(timespec_normalize({5, -1000000001}), 3, 999999999);
    ExpectTime(timespec_add({1, 1999999999}, {-5, -1}), -3, 999999998);
    ExpectTime(timespec_add({0, INT64_MAX}, {0, INT64_MAX}), 18446744073, 709551614);
    // The part of a delay below a second counts as nanoseconds.
    const FakeClock clock(7999999);
    ExpectTime(FutureTimespec(2500000), 9, 999999000);
    ExpectTime(FutureTimespec(1000999), 8, 999999999);
}

TEST(LocalTimeTest, ShiftsByTheZone) {
    EXPECT_EQ(UTCToLocalTime(1000000, 90), 1005400);
    EXPECT_EQ(LocalTimeToUTC(1000000, -90), 1005400);
    EXPECT_EQ(UTCToLocalTime(0, 71582789), 44);  // 32 bits: 2^32 + 44
    EXPECT_NEAR(double(LocalTime(-60)), double(time(nullptr) - 3600), 5);
    EXPECT_FALSE(IsUTCTimeValid(946080000));
    EXPECT_TRUE(IsUTCTimeValid(946080001));
}

TEST(LocalTimeTest, SetsTheSystemClockUnlessItIsRight) {
    FakeClock clock(1);
    DebugCapture debug(DEBUG_ERR);
    EXPECT_TRUE(UpdateSystemUTC(time(nullptr) + 1));
    EXPECT_TRUE(clock.settings.empty());
    EXPECT_TRUE(UpdateSystemUTC(946080001));
    ExpectTime(clock.settings.at(0), 946080001, 0);
    EXPECT_TRUE(UpdateSystemUTC(time(nullptr) + 5));
    EXPECT_EQ(clock.settings.size(), 2u);
    clock.setError = EPERM;
    EXPECT_FALSE(UpdateSystemUTC(0));
    EXPECT_TRUE(debug.Contains("Set Linux system time to 1999/12/25 00:00:01 UTC"));
    EXPECT_EQ(debug.Lines().back(), "Failed to set Linux system time: Operation not permitted");
}

}  // namespace
}  // namespace quarn::test
