#include <quarn/Debug.h>
#include <quarn/Logger.h>

#include "support/DebugCapture.h"
#include "support/TempDirectory.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <map>
#include <thread>

namespace quarn {
namespace {

// While set, the wall clock and the uptime that the program sees; a negative uptime cannot be read.
struct FakeTime {
    time_t utc;
    long uptime;
};
const FakeTime* fakeTime;

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

DebugOptions Masks(uint32_t console, uint32_t log) {
    DebugOptions options;
    options.consoleMask = console;
    options.logMask = log;
    return options;
}

LoggerOptions In(const test::TempDirectory& directory) {
    LoggerOptions options;
    options.directory = directory.Path();
    return options;
}

using Lines = std::vector<std::string>;

// Whoever adds a test that sets the time zone puts it here: a zone stays set for the rest of the process.
TEST(DebugTest, PrefixesLinesWithTimeAndThread) {
    FakeTime now{946080000, 3723};
    test::DebugCapture capture(0);
    Debug debug(Masks(DEBUG_ERR, 0), nullptr);
    std::thread([&] {
        fakeTime = &now;
        const auto print = [&] { debug.Printf(DEBUG_ERR, "f", 1, "x"); };
        Debug::SetThreadName("0123456789abcdefg");
        EXPECT_EQ(Debug::GetThreadName(), "0123456789abcde");
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
        fakeTime = nullptr;
    }).join();
    EXPECT_EQ(capture.RawLines(),
              (Lines{"+1:02:03 [0123456789abcde] x", "+100:00:00 [by others] x", "[t] x",
                     "1999/12/25 00:00:01Z [t] x", "1999/12/25 01:30:01 [t] x", "1999/12/24 23:59:01 [t] x",
                     "2028/02/29 23:59:59 [t] x", "2028/02/29 23:59:59 a", "2028/02/29 23:59:59 b"}));
}

TEST(DebugTest, MasksChooseTheDestinations) {
    const test::TempDirectory directory;
    test::DebugCapture capture(0);
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

    std::string log = directory.Read("01-start.txt");
    for (const char* text : {"both", "log", "always", "list", "more"}) {
        const size_t end = log.find('\n');
        ASSERT_NE(end, std::string::npos) << text;
        EXPECT_TRUE(log.substr(0, end).ends_with(std::string("] ") + text)) << log;
        log.erase(0, end + 1);
    }
    EXPECT_EQ(log, "");
    EXPECT_TRUE(debug.IsRelevant(DEBUG_ERR) && debug.IsRelevant(0xFFFFFFFF) && debug.IsRelevant(0x80000000));
    EXPECT_FALSE(debug.IsRelevant(DEBUG_INFO) || debug.IsRelevant(0) || silent.IsRelevant(0xFFFFFFFF));
}

TEST(DebugTest, ShowsTheSourceLocationAndOneNewline) {
    test::DebugCapture capture(0);
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
    const test::TempDirectory directory;
    test::DebugCapture capture(0);
    Logger logger(In(directory));
    Debug debug({}, &logger);
    errno = ENOTTY;
    debug.Printf(DEBUG_ERR, "f", 1, "%ls", L"\x7FFFFFFF");
    debug.Printf(DEBUG_ERR, "f", 1, "%m%c%s", '\0', "cut off");
    debug.Printf(DEBUG_ERR, "f", 1, "%s%c%s", "short", '\0', "cut off");
    debug.Printf(DEBUG_ERR, "f", 1, "%u %5.2f %-4s|", 7u, 1.5, "ab");
    Lines expected{strerror(ENOTTY), "short", "7  1.50 ab  |"};
    // Around the end of what is formatted without allocation, and far beyond.
    for (size_t length = 960; length < 1060; ++length)
        expected.emplace_back(length, 'x');
    expected.emplace_back(100000, 'y');
    for (size_t i = 3; i < expected.size(); ++i)
        debug.Printf(DEBUG_ERR, "f", 1, "%s", expected[i].c_str());
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(capture.Lines(), expected);
    std::string console;
    for (const std::string& line : capture.RawLines())
        console += line + "\n";
    EXPECT_EQ(directory.Read("01-start.txt"), console);
}

TEST(DebugTest, KeepsLinesOfThreadsWhole) {
    constexpr uint32_t THREADS = 4;
    constexpr uint32_t LINES = 500;
    const test::TempDirectory directory;
    test::DebugCapture capture(0);
    LoggerOptions loggerOptions = In(directory);
    loggerOptions.linesPerFile = THREADS * LINES / 5;
    Logger logger(loggerOptions);
    Debug debug({}, &logger);
    std::vector<std::thread> threads;
    for (uint32_t t = 0; t < THREADS; ++t)
        threads.emplace_back([&debug, t] {
            Debug::SetThreadName("t" + std::to_string(t));
            for (uint32_t i = 0; i < LINES; i += 2) {
                debug.Printf(DEBUG_ERR, "f", 1, "%u", i);
                debug.PrintList(DEBUG_ERR, "f", 1, {std::to_string(i + 1)});
                if (i % 100 == 0)
                    debug.Snapshot();
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    std::string log;
    for (const char* name : {"01-start.txt", "02.txt", "03.txt", "04.txt", "05.txt"})
        log += directory.Read(name);
    Lines logged;
    for (size_t start = 0; start < log.size(); start = log.find('\n', start) + 1)
        logged.push_back(log.substr(start, log.find('\n', start) - start));
    for (const Lines& lines : {logged, capture.RawLines()}) {
        std::map<std::string, uint32_t> next;
        for (const std::string& line : lines) {
            const std::string name = line.substr(line.find('['), 5);
            EXPECT_EQ(line.substr(line.find('[')), name + std::to_string(next[name]++));
        }
        EXPECT_EQ(next, (std::map<std::string, uint32_t>{
                            {"[t0] ", LINES}, {"[t1] ", LINES}, {"[t2] ", LINES}, {"[t3] ", LINES}}));
    }
}

TEST(DebugTest, TheDefaultGoesWithItsObject) {
    EXPECT_EQ(DefaultDebug(), nullptr);
    Debug outer({}, nullptr);
    outer.Snapshot();
    outer.SetAsDefault();
    {
        Debug inner({}, nullptr);
        EXPECT_EQ(DefaultDebug(), &outer);
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
    const std::string path = "/tmp/test/legacy";
    if (access(path.c_str(), F_OK) == 0)
        GTEST_SKIP() << path << " belongs to somebody";
    const bool made = mkdir("/tmp/test", 0777) == 0;
    Debug debug({}, nullptr);
    fclose(fopen(path.c_str(), "we"));
    EXPECT_FALSE(debug.IsLegacyTestModeEnabled());
    debug.UpdateTestMode();
    EXPECT_TRUE(debug.IsLegacyTestModeEnabled());
    EXPECT_TRUE(Debug({}, nullptr).IsLegacyTestModeEnabled());
    unlink(path.c_str());
    EXPECT_TRUE(debug.IsLegacyTestModeEnabled());
    debug.UpdateTestMode();
    EXPECT_FALSE(debug.IsLegacyTestModeEnabled());
    if (made)
        rmdir("/tmp/test");
}

}  // namespace
}  // namespace quarn
