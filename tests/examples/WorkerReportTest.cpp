#include "ctl/WorkerReport.h"
#include "examples/ExampleTest.h"

namespace unit {
namespace {

// worker-report.txt holds what a unit says of its workers, what it says two seconds later, and what is shown then.
TEST(WorkerReportTest, ShowsRatesAndWhatItDoesNotKnow) {
    std::map<std::string, std::list<std::string>> parts;
    std::string part;
    for (const std::string& line : TextOf("worker-report.txt"))
        if (line.starts_with("# "))
            part = line;
        else
            parts[part].push_back(line);
    EXPECT_EQ(
        FormatWorkerReport(ParseWorkerReport(parts["# before"]), ParseWorkerReport(parts["# after"]), 2.0),
        parts.at("# shown"));
    EXPECT_TRUE(ParseWorkerReport({"unrecognized command (\"help\" for help)"}).empty());
}

}  // namespace
}  // namespace unit
