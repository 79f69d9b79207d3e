#include <quarn/Logger.h>
#include <quarn/MonitorException.h>

#include "support/TempDirectory.h"

#include <gtest/gtest.h>

#include <memory>

namespace quarn::test {
namespace {

TEST(MonitorExceptionTest, CarriesItsMessageIntoCopies) {
    const std::string longText(5000, 'x');
    auto original = std::make_unique<MonitorException>("100%% of \"%s\"", longText.c_str());
    const MonitorException copy = *original;
    original.reset();
    EXPECT_EQ(copy.Description(), "100% of \"" + longText + '"');
    // No multibyte text of the C locale holds a euro sign.
    try {
        throw MonitorException("%ls", L"\u20AC");
    } catch (const std::string& text) {
        EXPECT_EQ(text, "vasprintf failed (probably out of memory)");
    }
}

TEST(MonitorExceptionTest, ReportsTheMessageAndAnEmptyLine) {
    const TempDirectory directory;
    const std::string path = directory.File("report");
    EXPECT_EQ(MonitorException("lost lock").List(), std::list<std::string>{"Exception: lost lock\n"});
    MonitorException("first").Append(path);
    MonitorException("%s", "").Append(path);
    EXPECT_EQ(directory.Read("report"), "Exception: first\n\nException: \n\n");
    MonitorException("nowhere").Append(directory.File("missing/report"));
    EXPECT_EQ(directory.Names(), std::vector<std::string>{"report"});
    LoggerOptions options;
    options.directory = directory.Path();
    Logger logger(options);
    MonitorException("logged").Log(&logger);
    EXPECT_EQ(directory.Read("01-start.txt"), "Exception: logged\n\n");
}

}  // namespace
}  // namespace quarn::test
