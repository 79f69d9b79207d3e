#include <quarn/Debug.h>
#include <quarn/Logger.h>

#include "support/DebugCapture.h"
#include "support/TempDirectory.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <memory>
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
};

// A zone stays set for the rest of the process: the lines are a child's.
TEST_F(DebugTest, PrefixesLinesWithTimeAndThread) {
    const pid_t child = fork();
    if (child == 0) {
        fakeUTC = 946080000;
        fakeUptime = 363723;
        Debug debug({.consoleMask = DEBUG_ERR, .logMask = 0}, nullptr);
        const auto print = [&] { debug.Printf(DEBUG_ERR, "f", 1, "x"); };
        Debug::SetThreadName("0123456789abcdefg");
        print();
        fakeUptime = -1;
        prctl(PR_SET_NAME, "by others");
        print();
        fakeUTC = 946080001;
        print();
        for (const int32_t zone : {90, -1}) {
            Debug::SetTimeZone(zone);
            print();
        }
        fakeUTC = 1835481599;
        Debug::SetTimeZone(0);
        Debug::SetThreadName("");
        debug.PrintList(DEBUG_ERR, "f", 1, {"a", "b\n"});
        fflush(stdout);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(capture.RawLines(),
              (Lines{"+101:02:03 [0123456789abcde] x", "[by others] x", "1999/12/25 00:00:01Z [by others] x",
                     "1999/12/25 01:30:01 [by others] x", "1999/12/24 23:59:01 [by others] x",
                     "2028/02/29 23:59:59 a", "2028/02/29 23:59:59 b"}));
}

TEST_F(DebugTest, MasksChooseTheDestinations) {
    Debug debug({.consoleMask = DEBUG_ERR | DEBUG_WARN, .logMask = DEBUG_WARN | 0x80000000}, &logger);
    Debug silent({.consoleMask = 0, .logMask = 0}, &logger);
    // Nothing is formatted for a category that nobody wants.
    debug.Printf(DEBUG_INFO, "f", 1, "%s", reinterpret_cast<const char*>(1));
    debug.PrintList(DEBUG_INFO, "f", 1, {"unwanted"});
    debug.Printf(DEBUG_ERR, "f", 1, "console");
    debug.Printf(DEBUG_ERR | DEBUG_WARN, "f", 1, "both");
    debug.Printf(0x80000000, "f", 1, "log");
    silent.Printf(DEBUG_ALWAYS, "f", 1, "always");
    silent.PrintList(DEBUG_ALWAYS, "f", 1, {"list", "more\n"});
    EXPECT_EQ(capture.Lines(), (Lines{"console", "both", "always", "list", "more"}));
    EXPECT_EQ(WithoutPrefixes(directory.Lines("01-start.txt")),
              (Lines{"both", "log", "always", "list", "more"}));
    EXPECT_FALSE(debug.IsRelevant(DEBUG_INFO) || debug.IsRelevant(DEBUG_ALWAYS));
}

TEST_F(DebugTest, ShowsTheSourceLocationAndOneNewline) {
    Debug debug({.showSourceLocation = true}, nullptr);
    debug.Printf(DEBUG_ERR, "src/dir/Worker", 2147483647, "%s", "text");
    debug.Printf(DEBUG_ERR, "src/", 0, "%s", "");
    debug.Printf(DEBUG_ERR, "b", -7, "\n");
    debug.Printf(DEBUG_ERR, "b", 7, "two\nlines\n\n");
    EXPECT_EQ(capture.Lines(), (Lines{"Worker:2147483647 text", ":0", "b:-7 ", "b:7 two", "lines", ""}));
}

TEST_F(DebugTest, PrintsWhatCanBeFormattedOfAnyLength) {
    Debug debug({}, &logger);
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
    Debug debug({}, &logger);
    std::vector<std::thread> threads;
    for (const char* name : {"t0", "t1", "t2", "t3"})
        threads.emplace_back([&debug, name] {
            Debug::SetThreadName(name);
            for (uint32_t i = 0; i < 500; i += 2) {
                debug.Printf(DEBUG_ERR, "f", 1, "%u", i);
                debug.PrintList(DEBUG_ERR, "f", 1, {std::to_string(i + 1)});
                if (i % 100 == 0)
                    debug.Snapshot();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
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

TEST_F(DebugTest, TheDefaultGoesWithItsObject) {
    auto debug = std::make_unique<Debug>(DebugOptions{}, nullptr);
    debug->SetAsDefault();
    { const Debug other({}, nullptr); }
    EXPECT_EQ(DefaultDebug(), debug.get());
    debug->Snapshot();  // without a log there is nothing to do
    debug.reset();
    EXPECT_EQ(DefaultDebug(), nullptr);
}

TEST_F(DebugTest, ExplainsTheMasks) {
    EXPECT_EQ(Debug::FormatMask(0x2abc), "0x00002ABC");
    Debug::Usage(stdout, " >");
    EXPECT_EQ(
        capture.RawLines(),
        (Lines{" >Mask bits are as follows (not all bits may be used in a given application):",
               " >0x00000001 = ERR (significant and unexpected events)",
               " >0x00000002 = WARN (significant but unexpected events)",
               " >0x00000004 = INFO (less significant but unexpected events)",
               " >0x00000008 = TIMING (performance metrics)",
               " >0x00000010 = DBG_SETTINGS (settings communication)",
               " >0x00000020 = DBG_STATUS (status communication)",
               " >0x00000040 = DBG_ACTION (action communication)",
               " >0x00000080 = DBG_LORA (LoRa core action)", " >0x00000100 = DBG_RF (Receiver operations)",
               " >0x00000200 = DBG_MULTI (Receiver operations)", " >0x00000400 = DBG_MIRROR (RF Mirror Mode)",
               " >0x00000800 = DBG_DANTE", " >0x00001000 = DBG_LOGIC_IO (Opto GPIO operations)",
               " >0x00002000 = DBG_DESK (DiGiCo Desk Integration)"}));
}

TEST_F(DebugTest, ReadsTheTestModeWhenAsked) {
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
