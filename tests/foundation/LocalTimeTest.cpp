#include <quarn/LocalTime.h>

#include "foundation/FakeClock.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <errno.h>

namespace quarn::test {
namespace {

TEST(LocalTimeTest, TicksInMonotonicMicrosecondsThatAreNeverZero) {
    FakeClock clock(0);
    EXPECT_EQ(Tick(), 1u);
    clock.now = 5000000001;
    EXPECT_EQ(Tick(), 5000000001u);
    EXPECT_EQ(MillisecondsSince(Tick()), 0u);
    EXPECT_EQ(MillisecondsSince(5000000001 - 1999), 1u);
    clock.readError = EINVAL;
    const char* const failure = "clock_gettime(CLOCK_MONOTONIC) failed: Invalid argument";
    EXPECT_EQ(ThrownMessage([] { Tick(); }), failure);
    EXPECT_EQ(ThrownMessage([] { FutureTimespec(1); }), failure);
    EXPECT_EQ(ThrownMessage([] { MillisecondsSince(0); }),
              "Calling MillisecondsSince with an uninitialized tick value");
}

TEST(LocalTimeTest, NormalisesTimes) {
    const timespec cases[][2] = {
        {{1, 2500000000}, {3, 500000000}},  {{5, -1}, {4, 999999999}},
        {{5, 1000000000}, {6, 0}},          {{5, -1000000000}, {4, 0}},
        {{5, -1000000001}, {3, 999999999}}, {{0, INT64_MAX}, {9223372036, 854775807}},
    };
    for (const auto& [time, normal] : cases) {
        const timespec result = timespec_normalize(time);
        EXPECT_EQ(result.tv_sec, normal.tv_sec);
        EXPECT_EQ(result.tv_nsec, normal.tv_nsec);
    }
    const timespec sum = timespec_add({1, 1999999999}, {-5, -1});
    EXPECT_EQ(sum.tv_sec, -3);
    EXPECT_EQ(sum.tv_nsec, 999999998);
}

TEST(LocalTimeTest, ReadsTheSubSecondPartOfADelayAsNanoseconds) {
    const FakeClock clock(7999999);
    const std::tuple<uint64_t, time_t, long> cases[] = {
        {0, 7, 999999000}, {2500000, 9, 999999000}, {1000999, 8, 999999999}, {999, 7, 999999999}};
    for (const auto& [delay, seconds, nanoseconds] : cases) {
        const timespec future = FutureTimespec(delay);
        EXPECT_EQ(future.tv_sec, seconds) << delay;
        EXPECT_EQ(future.tv_nsec, nanoseconds) << delay;
    }
}

TEST(LocalTimeTest, ShiftsByTheZone) {
    EXPECT_EQ(UTCToLocalTime(1000000, 90), 1005400);
    EXPECT_EQ(LocalTimeToUTC(1000000, -90), 1005400);
    EXPECT_EQ(UTCToLocalTime(0, 71582789), 44);  // 32 bits: 2^32 + 44
    const time_t before = time(nullptr);
    const time_t local = LocalTime(-60);
    EXPECT_GE(local, before - 3600);
    EXPECT_LE(local, time(nullptr) - 3600);
    EXPECT_FALSE(IsUTCTimeValid(946080000));
    EXPECT_TRUE(IsUTCTimeValid(946080001));
}

TEST(LocalTimeTest, SetsTheSystemClockUnlessItIsRight) {
    FakeClock clock(1);
    DebugCapture debug(DEBUG_ERR);
    EXPECT_TRUE(UpdateSystemUTC(time(nullptr)));
    EXPECT_TRUE(clock.settings.empty());
    EXPECT_TRUE(UpdateSystemUTC(946080001));
    EXPECT_TRUE(UpdateSystemUTC(time(nullptr) + 3));
    ASSERT_EQ(clock.settings.size(), 2u);
    EXPECT_EQ(clock.settings[0].tv_sec, 946080001);
    clock.setError = EPERM;
    EXPECT_FALSE(UpdateSystemUTC(0));
    EXPECT_EQ(debug.Lines().front(), "Set Linux system time to 1999/12/25 00:00:01 UTC");
    EXPECT_EQ(debug.Lines().back(), "Failed to set Linux system time: Operation not permitted");
}

}  // namespace
}  // namespace quarn::test
