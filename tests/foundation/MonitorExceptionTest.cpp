#include <quarn/Logger.h>
#include <quarn/MonitorException.h>

#include "support/TempDirectory.h"

#include <gtest/gtest.h>

#include <memory>

namespace quarn {
namespace {

TEST(MonitorExceptionTest, CarriesItsMessageIntoCopies) {
    const std::string longText(5000, 'x');
    EXPECT_EQ(MonitorException("100%% of \"%s\"", longText.c_str()).Description(),
              "100% of \"" + longText + '"');
    auto original = std::make_unique<MonitorException>("bad port %i", 70000);
    const MonitorException copy = *original;
    original.reset();
    EXPECT_EQ(copy.Description(), "bad port 70000");
}

TEST(MonitorExceptionTest, ThrowsAStringWhenTheMessageCannotBeFormed) {
    // No multibyte text of the C locale holds a euro sign.
    std::string thrown;
    try {
        throw MonitorException("%ls", L"\u20AC");
    } catch (const std::string& text) {
        thrown = text;
    }
    EXPECT_EQ(thrown, "vasprintf failed (probably out of memory)");
}

TEST(MonitorExceptionTest, ReportsTheMessageAndAnEmptyLine) {
    const test::TempDirectory directory;
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
}  // namespace quarn
