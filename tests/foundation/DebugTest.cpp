#include <quarn/Debug.h>
#include <quarn/Logger.h>

#include "support/DebugCapture.h"
#include "support/TempDirectory.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <thread>

namespace quarn::test {
namespace {

// While set, the wall clock and the uptime that the program sees; a negative uptime cannot be read.
struct FakeTime {
    time_t utc;
    long uptime;
};
const FakeTime* fakeTime;
bool testModeFileExists;

// The program's own definitions come before those of the C library.
extern "C" time_t time(time_t* result) noexcept {
    timespec now{fakeTime ? fakeTime->utc : 0, 0};
    if (!fakeTime)
        syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
    if (result)
        *result = now.tv_sec;
    return now.tv_sec;
}

extern "C" int sysinfo(struct sysinfo* info) noexcept {
    if (!fakeTime)
        return static_cast<int>(syscall(SYS_sysinfo, info));
    info->uptime = fakeTime->uptime;
    return fakeTime->uptime < 0 ? -1 : 0;
}

extern "C" int access(const char* path, int mode) noexcept {
    if (path == std::string("/tmp/test/legacy"))
        return testModeFileExists ? 0 : -1;
    return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

DebugOptions Masks(uint32_t console, uint32_t log) {
    DebugOptions options;
    options.consoleMask = console;
    options.logMask = log;
    return options;
}

LoggerOptions In(const TempDirectory& directory) {
    LoggerOptions options;
    options.directory = directory.Path();
    return options;
}

// A zone stays set for the rest of the process: the lines are a child's.
TEST(DebugTest, PrefixesLinesWithTimeAndThread) {
    DebugCapture capture(0);
    const pid_t child = fork();
    if (child == 0) {
        FakeTime now{946080000, 3723};
        fakeTime = &now;
        Debug debug(Masks(DEBUG_ERR, 0), nullptr);
        const auto print = [&] { debug.Printf(DEBUG_ERR, "f", 1, "x"); };
        Debug::SetThreadName("0123456789abcdefg");
        print();
        now.uptime = 360000;
        prctl(PR_SET_NAME, "by others");
        print();
        now.uptime = -1;
        Debug::SetThreadName("t");
        print();
        now.utc = 946080001;
        print();
        Debug::SetTimeZone(90);
        print();
        Debug::SetTimeZone(-1);
        print();
        now.utc = 1835481599;
        Debug::SetTimeZone(0);
        print();
        Debug::SetThreadName("");
        debug.PrintList(DEBUG_ERR, "f", 1, {"a", "b\n"});
        fflush(stdout);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(capture.RawLines(),
              (Lines{"+1:02:03 [0123456789abcde] x", "+100:00:00 [by others] x", "[t] x",
                     "1999/12/25 00:00:01Z [t] x", "1999/12/25 01:30:01 [t] x", "1999/12/24 23:59:01 [t] x",
                     "2028/02/29 23:59:59 [t] x", "2028/02/29 23:59:59 a", "2028/02/29 23:59:59 b"}));
}

TEST(DebugTest, MasksChooseTheDestinations) {
    const TempDirectory directory;
    DebugCapture capture(0);
    Logger logger(In(directory));
    Debug debug(Masks(DEBUG_ERR | DEBUG_WARN, DEBUG_WARN | 0x80000000), &logger);
    Debug silent(Masks(0, 0), &logger);
    // Nothing is formatted for a category that nobody wants.
    silent.Printf(DEBUG_INFO, "f", 1, "%s", reinterpret_cast<const char*>(1));
    debug.PrintList(DEBUG_INFO, "f", 1, {"unwanted"});
    debug.Printf(DEBUG_ERR, "f", 1, "console");
    debug.Printf(DEBUG_ERR | DEBUG_WARN, "f", 1, "both");
    debug.Printf(0x80000000, "f", 1, "log");
    silent.Printf(DEBUG_ALWAYS, "f", 1, "always");
    silent.PrintList(DEBUG_ALWAYS, "f", 1, {"list", "more\n"});
    EXPECT_EQ(capture.Lines(), (Lines{"console", "both", "always", "list", "more"}));
    EXPECT_EQ(WithoutPrefixes(directory.Lines("01-start.txt")),
              (Lines{"both", "log", "always", "list", "more"}));
    EXPECT_TRUE(debug.IsRelevant(DEBUG_ERR) && debug.IsRelevant(0xFFFFFFFF) && debug.IsRelevant(0x80000000));
    EXPECT_FALSE(debug.IsRelevant(DEBUG_INFO) || debug.IsRelevant(0) || silent.IsRelevant(0xFFFFFFFF));
}

TEST(DebugTest, ShowsTheSourceLocationAndOneNewline) {
    DebugCapture capture(0);
    DebugOptions options;
    options.showSourceLocation = true;
    Debug debug(options, nullptr);
    debug.Printf(DEBUG_ERR, "src/dir/Worker", 2147483647, "%s", "text");
    debug.Printf(DEBUG_ERR, "Worker", -1, "text\n");
    debug.Printf(DEBUG_ERR, "src/", 0, "%s", "");
    debug.Printf(DEBUG_ERR, "a/b", 7, "\n");
    debug.Printf(DEBUG_ERR, "a/b", 7, "two\nlines\n\n");
    EXPECT_EQ(capture.Lines(),
              (Lines{"Worker:2147483647 text", "Worker:-1 text", ":0", "b:7 ", "b:7 two", "lines", ""}));
}

TEST(DebugTest, PrintsWhatCanBeFormattedOfAnyLength) {
    const TempDirectory directory;
    DebugCapture capture(0);
    Logger logger(In(directory));
    Debug debug({}, &logger);
    errno = ENOTTY;
    debug.Printf(DEBUG_ERR, "f", 1, "%ls", L"\x7FFFFFFF");
    debug.Printf(DEBUG_ERR, "f", 1, "%m%c%s", '\0', "cut off");
    debug.Printf(DEBUG_ERR, "f", 1, "%s%c%s", "short", '\0', "cut off");
    Lines expected{strerror(ENOTTY), "short"};
    // Around the end of what is formatted without allocation, and far beyond.
    for (size_t length = 960; length < 1060; ++length)
        expected.emplace_back(length, 'x');
    expected.emplace_back(100000, 'y');
    for (size_t i = 2; i < expected.size(); ++i)
        debug.Printf(DEBUG_ERR, "f", 1, "%s", expected[i].c_str());
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(capture.Lines(), expected);
    EXPECT_EQ(directory.Lines("01-start.txt"), capture.RawLines());
}

TEST(DebugTest, KeepsLinesOfThreadsWhole) {
    constexpr uint32_t kLines = 500;
    const TempDirectory directory;
    DebugCapture capture(0);
    LoggerOptions loggerOptions = In(directory);
    loggerOptions.linesPerFile = 2 * kLines;
    Logger logger(loggerOptions);
    Debug debug({}, &logger);
    std::vector<std::thread> threads;
    for (uint32_t t = 0; t < 4; ++t)
        threads.emplace_back([&debug, t] {
            Debug::SetThreadName("t" + std::to_string(t));
            for (uint32_t i = 0; i < kLines; i += 2) {
                debug.Printf(DEBUG_ERR, "f", 1, "%u", i);
                debug.PrintList(DEBUG_ERR, "f", 1, {std::to_string(i + 1)});
                if (i % 100 == 0)
                    debug.Snapshot();
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    Lines logged = directory.Lines("01-start.txt");
    for (const std::string& line : directory.Lines("02.txt"))
        logged.push_back(line);
    for (const Lines& lines : {logged, capture.RawLines()}) {
        std::map<std::string, uint32_t> next{{"[t0] ", 0}, {"[t1] ", 0}, {"[t2] ", 0}, {"[t3] ", 0}};
        for (const std::string& line : lines) {
            const std::string name = line.substr(line.find('['), 5);
            EXPECT_EQ(line.substr(line.find('[')), name + std::to_string(next.at(name)++));
        }
        for (const auto& [name, count] : next)
            EXPECT_EQ(count, kLines) << name;
    }
}

TEST(DebugTest, TheDefaultGoesWithItsObject) {
    EXPECT_EQ(DefaultDebug(), nullptr);
    Debug outer({}, nullptr);
    outer.Snapshot();  // without a log there is nothing to do
    {
        Debug inner({}, nullptr);
        inner.SetAsDefault();
        EXPECT_EQ(DefaultDebug(), &inner);
    }
    EXPECT_EQ(DefaultDebug(), nullptr);
    outer.SetAsDefault();
    { const Debug other({}, nullptr); }
    EXPECT_EQ(DefaultDebug(), &outer);
}

TEST(DebugTest, ExplainsTheMasks) {
    EXPECT_EQ(Debug::FormatMask(0x2abc), "0x00002ABC");
    char* text = nullptr;
    size_t size = 0;
    FILE* stream = open_memstream(&text, &size);
    Debug::Usage(stream, " >");
    fclose(stream);
    EXPECT_STREQ(text,
                 " >Mask bits are as follows (not all bits may be used in a given application):\n"
                 " >0x00000001 = ERR (significant and unexpected events)\n"
                 " >0x00000002 = WARN (significant but unexpected events)\n"
                 " >0x00000004 = INFO (less significant but unexpected events)\n"
                 " >0x00000008 = TIMING (performance metrics)\n"
                 " >0x00000010 = DBG_SETTINGS (settings communication)\n"
                 " >0x00000020 = DBG_STATUS (status communication)\n"
                 " >0x00000040 = DBG_ACTION (action communication)\n"
                 " >0x00000080 = DBG_LORA (LoRa core action)\n"
                 " >0x00000100 = DBG_RF (Receiver operations)\n"
                 " >0x00000200 = DBG_MULTI (Receiver operations)\n"
                 " >0x00000400 = DBG_MIRROR (RF Mirror Mode)\n"
                 " >0x00000800 = DBG_DANTE\n"
                 " >0x00001000 = DBG_LOGIC_IO (Opto GPIO operations)\n"
                 " >0x00002000 = DBG_DESK (DiGiCo Desk Integration)\n");
    free(text);
}

TEST(DebugTest, ReadsTheTestModeWhenAsked) {
    Debug debug({}, nullptr);
    for (const bool exists : {true, false}) {
        testModeFileExists = exists;
        EXPECT_EQ(Debug({}, nullptr).IsLegacyTestModeEnabled(), exists);
        EXPECT_EQ(debug.IsLegacyTestModeEnabled(), !exists);
        debug.UpdateTestMode();
        EXPECT_EQ(debug.IsLegacyTestModeEnabled(), exists);
    }
}

}  // namespace
}  // namespace quarn::test
