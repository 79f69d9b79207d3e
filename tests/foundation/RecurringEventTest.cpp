#include <quarn/RecurringEvent.h>

#include "foundation/FakeClock.h"
#include "support/TempDirectory.h"

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

struct RecurringEventTest : testing::Test {
    void Occur(uint64_t duration, uint64_t pause) {
        event.Enter();
        clock.now += duration;
        event.Leave();
        clock.now += pause;
    }

    Lines Report() const {
        std::list<std::string> lines;
        event.Log(lines);
        return {lines.begin(), lines.end()};
    }

    FakeClock clock{1000};
    RecurringEvent event{"poll"};
};

TEST_F(RecurringEventTest, ReportsTheLastTenAndTheExtremesEver) {
    event.Leave();
    EXPECT_EQ(Report(), Lines{"Event poll: no occurrences"});
    event.Enter();
    clock.now += 1000;
    Occur(500, 500);  // starts anew
    event.Leave();
    EXPECT_EQ(Report(), Lines{"Event poll: 1 occurrence, duration 500us"});
    Occur(100, 0);
    for (uint64_t i = 0; i < 10; ++i)
        Occur(200 + i, 10);
    // Twelve durations, eleven intervals: the first ones are gone from the recent figures.
    EXPECT_EQ(Report(),
              (Lines{"Event poll: 12 occurrences, [min-ever min-recent avg-recent max-recent max-ever (us)]:",
                     "  interval:  100 100 202 218 1000", "  duration:  100 200 204 209 500"}));
    EXPECT_EQ(event.GetMaximumDurationUs(), 500u);
    EXPECT_EQ(event.GetCumulativeDurationUs(), 12u);  // occurrences
}

TEST_F(RecurringEventTest, StartsAfreshWithoutForgettingWhatIsUnderWay) {
    Occur(500, 500);
    Occur(600, 500);
    RecurringEvent copy("copy");
    event.Enter();
    copy.Copy(event);
    clock.now += 50;
    event.Clear();
    EXPECT_EQ(event.GetCumulativeDurationUs(), 0u);
    event.Leave();
    EXPECT_EQ(Report(), Lines{"Event poll: 1 occurrence, duration 50us"});
    copy.Leave();  // of the occurrence that was copied
    EXPECT_EQ(copy.GetEventCount(), 3u);
    EXPECT_EQ(copy.GetCumulativeDurationUs(), 1u);
    Occur(60, 0);
    EXPECT_EQ(Report().at(1), "  interval:  50 50 50 50 50");
    EXPECT_EQ(Report().at(2), "  duration:  50 50 55 60 60");
}

}  // namespace
}  // namespace quarn::test
