#include "ctl/WorkerReport.h"
#include "examples/ExampleTest.h"

namespace unit {

TEST(WorkerReportTest, ShowsRatesAndWhatItDoesNotKnow) {
    std::map<std::string, quarn::test::Exchange> at;
    for (const quarn::test::Exchange& said : quarn::test::ReadExchanges("worker-report.txt"))
        at[said.line] = said;
    const auto before = ParseWorkerReport(at["before"].answer), after = ParseWorkerReport(at["after"].answer);
    EXPECT_EQ(FormatWorkerReport(before, after, 2.0), at["shown"].answer) << at["shown"].where;
    EXPECT_TRUE(ParseWorkerReport({"unrecognized command (\"help\" for help)"}).empty());
}

}  // namespace unit
