#include "foundation/FoundationTest.h"

namespace quarn::test {

TEST(MonitorExceptionTest, ReportsTheMessageAndAnEmptyLine) {
    const std::string longText(5000, 'x');
    auto original = std::make_unique<MonitorException>("100%% of \"%s\"", longText.c_str());
    const MonitorException copy = *original;
    original.reset();
    EXPECT_EQ(copy.Description(), "100% of \"" + longText + '"');
    EXPECT_EQ(MonitorException("lost lock").List(), std::list<std::string>{"Exception: lost lock\n"});

    const TempDirectory directory;
    Logger logger({.directory = directory.Path()});
    MonitorException("logged").Log(&logger);
    MonitorException("%s", "").Append(directory.File("01-start.txt"));
    EXPECT_EQ(directory.Read("01-start.txt"), "Exception: logged\n\nException: \n\n");
    MonitorException("nowhere").Append(directory.File("missing/report"));
}

}  // namespace quarn::test
