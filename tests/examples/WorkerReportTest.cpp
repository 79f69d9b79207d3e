#include "ctl/WorkerReport.h"

#include <gtest/gtest.h>

namespace unit {
namespace {

using Lines = std::list<std::string>;

TEST(WorkerReportTest, ShowsRatesAndWhatItDoesNotKnow) {
    const std::vector<WorkerFigures> before =
        ParseWorkerReport({"Worker a: b, c: running, 10 work calls", "Event work: 1 occurrence, duration 7us",
                           "Wakeups by reason (total of item % may exceed 100)", "Reason   Count  %   ",
                           "Timeout  4      40  ", "Event    1      10  ", "fd 3 (peer 1 2 3)  5  50"});
    ASSERT_EQ(before.size(), 1U);
    EXPECT_EQ(before[0].name, "a: b, c");
    EXPECT_EQ(before[0].longestUs, 7U);
    const std::vector<WorkerFigures> now = ParseWorkerReport(
        {"Worker a: b, c: running, 30 work calls",
         "Event work: 2 occurrences, [min-ever min-recent avg-recent max-recent max-ever (us)]:",
         "  interval:  927 927 927 927 927", "  duration:  45 45 175 305 306",
         "Wakeups by reason (total of item % may exceed 100)", "Reason   Count  %   ", "Timeout  2      40  ",
         "Event    1      10  ", "fd 3 (peer 1 2 3)  6  50", "fd 4 (listener)  9  50", "Lines executed  3",
         "Peer \"x 1 2\": connected", "Worker new: stopped, 3 work calls", "Event work: no occurrences"});
    EXPECT_EQ(FormatWorkerReport(before, now, 2.0),
              (Lines{"worker   status   runs/s  timeouts/s  events/s  descriptors/s  work us  longest us  ",
                     "a: b, c  running  10.0    1.0         0.0       5.0            175      306         ",
                     "new      stopped  1.5     0.0         0.0       0.0            0        0           ",
                     "", "a: b, c:", "  Lines executed  3", "  Peer \"x 1 2\": connected"}));
    EXPECT_TRUE(ParseWorkerReport({"unrecognized command (\"help\" for help)"}).empty());
}

}  // namespace
}  // namespace unit
