#include "ctl/WorkerReport.h"
#include "examples/ExampleTest.h"

namespace unit {
namespace {

// worker-report.txt holds what a unit says of its workers, what it says two seconds later, and what is shown then.
TEST(WorkerReportTest, ShowsRatesAndWhatItDoesNotKnow) {
    std::map<std::string, std::list<std::string>> said;
    for (const auto& [where, when, lines] : quarn::test::ReadExchanges("worker-report.txt"))
        said[when] = lines;
    EXPECT_EQ(FormatWorkerReport(ParseWorkerReport(said["before"]), ParseWorkerReport(said["after"]), 2.0),
              said["shown"]);
    EXPECT_TRUE(ParseWorkerReport({"unrecognized command (\"help\" for help)"}).empty());
}

}  // namespace
}  // namespace unit
