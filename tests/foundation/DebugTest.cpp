#include "foundation/FoundationTest.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

namespace quarn::test {
namespace {

// While not 0, the wall clock that the program sees, and the uptime, which cannot be read when it is negative.
time_t fakeUTC;
long fakeUptime;
bool testModeFileExists;

// The program's own definitions come before those of the C library.
extern "C" time_t time(time_t*) noexcept {
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
    return fakeUTC != 0 ? fakeUTC : now.tv_sec;
}

extern "C" int sysinfo(struct sysinfo* info) noexcept {
    info->uptime = fakeUptime;
    return fakeUptime < 0 ? -1 : 0;
}

extern "C" int access(const char* path, int mode) noexcept {
    if (path == std::string("/tmp/test/legacy"))
        return testModeFileExists ? 0 : -1;
    return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

struct DebugTest : testing::Test {
    const TempDirectory directory;
    DebugCapture capture{0};
    Logger logger{{.directory = directory.Path(), .linesPerFile = 1000}};
    Debug debug{{}, &logger};
};

// A zone stays set for the rest of the process: the lines are a child's.
TEST_F(DebugTest, PrefixesLinesWithTimeAndThread) {
    const pid_t child = fork();
    if (child == 0) {
        const auto print = [&](time_t utc, long uptime) {
            fakeUTC = utc;
            fakeUptime = uptime;
            debug.Printf(DEBUG_ERR, "f", 1, "x");
        };
        Debug::SetThreadName("0123456789abcdefg");
        print(946080000, 363723);
        prctl(PR_SET_NAME, "by others");
        print(946080000, -1);
        print(946080001, 0);
        for (const int32_t zone : {90, -1}) {
            Debug::SetTimeZone(zone);
            print(946080001, 0);
        }
        Debug::SetTimeZone(0);
        Debug::SetThreadName("");
        fakeUTC = 1835481599;
        debug.PrintList(DEBUG_ERR, "f", 1, {"x", "y\n"});
        fflush(stdout);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(capture.RawLines(),
              (Lines{"+101:02:03 [0123456789abcde] x", "[by others] x", "1999/12/25 00:00:01Z [by others] x",
                     "1999/12/25 01:30:01 [by others] x", "1999/12/24 23:59:01 [by others] x",
                     "2028/02/29 23:59:59 x", "2028/02/29 23:59:59 y"}));
}

TEST_F(DebugTest, MasksChooseTheDestinations) {
    Debug chosen({.consoleMask = DEBUG_ERR | DEBUG_WARN, .logMask = DEBUG_WARN | 0x80000000}, &logger);
    Debug silent({.consoleMask = 0, .logMask = 0}, &logger);
    // Nothing is formatted for a category that nobody wants.
    chosen.Printf(DEBUG_INFO, "f", 1, "%s", reinterpret_cast<const char*>(1));
    chosen.PrintList(DEBUG_INFO, "f", 1, {"unwanted"});
    chosen.Printf(DEBUG_ERR, "f", 1, "console");
    chosen.Printf(DEBUG_ERR | DEBUG_WARN, "f", 1, "both");
    chosen.Printf(0x80000000, "f", 1, "log");
    silent.Printf(DEBUG_ALWAYS, "f", 1, "always");
    silent.PrintList(DEBUG_ALWAYS, "f", 1, {"list", "more\n"});
    EXPECT_EQ(capture.Lines(), (Lines{"console", "both", "always", "list", "more"}));
    EXPECT_EQ(WithoutPrefixes(directory.Lines("01-start.txt")),
              (Lines{"both", "log", "always", "list", "more"}));
    EXPECT_FALSE(chosen.IsRelevant(DEBUG_INFO) || chosen.IsRelevant(DEBUG_ALWAYS));
}

TEST_F(DebugTest, ShowsTheSourceLocationAndOneNewline) {
    Debug located({.showSourceLocation = true}, nullptr);
    located.Printf(DEBUG_ERR, "src/dir/Worker", 2147483647, "%s", "text");
    located.Printf(DEBUG_ERR, "src/", 0, "%s", "");
    located.Printf(DEBUG_ERR, "b", -7, "\n");
    located.Printf(DEBUG_ERR, "b", 7, "two\nlines\n\n");
    EXPECT_EQ(capture.Lines(), (Lines{"Worker:2147483647 text", ":0", "b:-7 ", "b:7 two", "lines", ""}));
}

TEST_F(DebugTest, PrintsWhatCanBeFormattedOfAnyLength) {
    errno = ENOTTY;
    debug.Printf(DEBUG_ERR, "f", 1, "%ls", L"\x7FFFFFFF");
    debug.Printf(DEBUG_ERR, "f", 1, "%m%c%s", '\0', "cut off");
    Lines expected{strerror(ENOTTY), std::string(100000, 'y')};
    // Around the end of what is formatted without allocation, too.
    for (size_t length = 960; length < 1060; ++length)
        expected.emplace_back(length, 'x');
    for (size_t i = 1; i < expected.size(); ++i)
        debug.Printf(DEBUG_ERR, "f", 1, "%s", expected[i].c_str());
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(capture.Lines(), expected);
    EXPECT_EQ(directory.Lines("01-start.txt"), capture.RawLines());
}

TEST_F(DebugTest, KeepsLinesOfThreadsWhole) {
    std::vector<std::jthread> threads;
    for (const char* name : {"t0", "t1", "t2", "t3"})
        threads.emplace_back([this, name] {
            Debug::SetThreadName(name);
            for (uint32_t i = 0; i < 500; i += 2) {
                debug.Printf(DEBUG_ERR, "f", 1, "%u", i);
                debug.PrintList(DEBUG_ERR, "f", 1, {std::to_string(i + 1)});
                if (i % 100 == 0)
                    debug.Snapshot();
            }
        });
    threads.clear();
    const Lines logged = SplitLines(directory.Read("01-start.txt") + directory.Read("02.txt"));
    for (const Lines& lines : {logged, capture.RawLines()}) {
        EXPECT_EQ(lines.size(), 2000u);
        std::map<std::string, uint32_t> next;
        for (const std::string& line : lines) {
            const std::string name = line.substr(line.find('['), 5);
            EXPECT_EQ(line.substr(line.find('[')), name + std::to_string(next[name]++));
        }
    }
}

TEST_F(DebugTest, IsTheDefaultWhileItLives) {
    {
        Debug first({}, nullptr);
        first.SetAsDefault();
        { const Debug other({}, nullptr); }
        EXPECT_EQ(DefaultDebug(), &first);
        first.Snapshot();  // without a log there is nothing to do
    }
    EXPECT_EQ(DefaultDebug(), nullptr);
}

TEST_F(DebugTest, ReadsTheTestModeWhenAsked) {
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
