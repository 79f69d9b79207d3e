#include <quarn/RecurringEvent.h>

#include "foundation/FakeClock.h"

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

using Lines = std::list<std::string>;

class RecurringEventTest : public testing::Test {
protected:
    void Occur(uint64_t duration, uint64_t pause) {
        event.Enter();
        clock.Advance(duration);
        event.Leave();
        clock.Advance(pause);
    }

    Lines Report() const {
        Lines lines;
        event.Log(lines);
        return lines;
    }

    FakeClock clock{1000};
    RecurringEvent event{"poll"};
};

TEST_F(RecurringEventTest, CountsOnlyWhatWasEntered) {
    event.Leave();
    EXPECT_EQ(Report(), Lines{"Event poll: no occurrences"});
    event.Enter();
    clock.Advance(1000);
    Occur(7, 0);  // starts anew
    event.Leave();
    EXPECT_EQ(Report(), Lines{"Event poll: 1 occurrence, duration 7us"});
}

TEST_F(RecurringEventTest, ReportsTheLastTenAndTheExtremesEver) {
    const char* const heading = " occurrences, [min-ever min-recent avg-recent max-recent max-ever (us)]:";
    Occur(500, 500);
    Occur(100, 0);
    EXPECT_EQ(Report(), (Lines{"Event poll: 2" + std::string(heading),
                               "  interval:  1000 1000 1000 1000 1000", "  duration:  100 100 300 500 500"}));
    for (uint64_t i = 0; i < 10; ++i)
        Occur(200 + i, 10);
    // Twelve durations, eleven intervals: the first ones are gone from the recent figures.
    EXPECT_EQ(Report(), (Lines{"Event poll: 12" + std::string(heading), "  interval:  100 100 202 218 1000",
                               "  duration:  100 200 204 209 500"}));
    EXPECT_EQ(event.GetMaximumDurationUs(), 500u);
}

TEST_F(RecurringEventTest, StartsAfreshWithoutForgettingWhatIsUnderWay) {
    Occur(500, 500);
    Occur(600, 500);
    event.Enter();
    clock.Advance(50);
    event.Clear();
    EXPECT_FALSE(event.HasHappened());
    EXPECT_EQ(event.GetCumulativeDurationUs(), 0u);
    event.Leave();
    EXPECT_EQ(Report(), Lines{"Event poll: 1 occurrence, duration 50us"});
    Occur(60, 0);
    EXPECT_EQ(Report().back(), "  duration:  50 50 55 60 60");
    EXPECT_EQ(*std::next(Report().begin()), "  interval:  50 50 50 50 50");
}

TEST_F(RecurringEventTest, CopiesTheFiguresButNotTheNameNorTheSecondCount) {
    Occur(5, 5);
    Occur(10, 0);
    event.Enter();
    RecurringEvent other("other");
    other.Copy(event);
    clock.Advance(40);
    other.Leave();  // of the occurrence that was copied
    EXPECT_EQ(other.GetMaximumDurationUs(), 40u);
    EXPECT_EQ(other.GetEventCount(), 3u);
    EXPECT_EQ(other.GetCumulativeDurationUs(), 1u);
    EXPECT_EQ(event.GetEventCount(), 2u);
    EXPECT_EQ(event.GetCumulativeDurationUs(), 2u);
}

}  // namespace
}  // namespace quarn::test
