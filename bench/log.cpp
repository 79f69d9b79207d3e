// Debug output: lines with a time stamp that reach the system one by one, in a rotating set of files of some
// megabytes, beside the same of another library and what the system calls alone cost; and messages that no
// mask wants.

#include <quarn/Debug.h>
#include <quarn/Logger.h>

#include "PinnedMain.h"

#include <benchmark/benchmark.h>
#if QUARN_BENCH_PEERS
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#endif

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

namespace {

constexpr uint32_t FILES = 4;
constexpr uint32_t LINES_PER_FILE = 10000;

// An empty directory that goes with its contents, so that no case leaves the next one pages to write back.
class Directory {
public:
    Directory() : path_((std::filesystem::temp_directory_path() / "quarn-bench-XXXXXX").string()) {
        if (!mkdtemp(path_.data()))
            abort();
    }
    ~Directory() { std::filesystem::remove_all(path_); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

#define MESSAGE "axis %u: position %d at tick %lu, state %s"
#define ARGUMENTS 1u, -12345, 987654321ul, "running"

void LineQuarn(benchmark::State& state) {
    const Directory directory;
    quarn::LoggerOptions loggerOptions;
    loggerOptions.directory = directory.Path();
    loggerOptions.linesPerFile = LINES_PER_FILE;
    loggerOptions.maxLogFiles = FILES;
    quarn::Logger logger(loggerOptions);
    quarn::DebugOptions options;
    options.consoleMask = 0;
    quarn::Debug debug(options, &logger);
    debug.SetAsDefault();
    for (auto _ : state)
        if (quarn::DefaultDebug())
            quarn::DefaultDebug()->Printf(quarn::DEBUG_ERR, __FILE__, __LINE__, MESSAGE, ARGUMENTS);
    if (!logger.IsGood())
        state.SkipWithError("the log could not be written");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(LineQuarn)->Name("log/line/quarn");

// No rotation, no locks, the stamp formed once a second: what a line costs at least.
void LineRaw(benchmark::State& state) {
    const Directory directory;
    const int file = open((directory.Path() + "/log").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    time_t second = 0;
    char stamp[32] = "";
    for (auto _ : state) {
        const time_t now = time(nullptr);
        if (now != second) {
            tm utc;
            gmtime_r(&now, &utc);
            strftime(stamp, sizeof(stamp), "%Y/%m/%d %H:%M:%SZ", &utc);
            second = now;
        }
        char line[256];
        const int length = snprintf(line, sizeof(line), "%s [bench_log] " MESSAGE "\n", stamp, ARGUMENTS);
        if (write(file, line, size_t(length)) != length)
            state.SkipWithError("the log could not be written");
    }
    close(file);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(LineRaw)->Name("log/line/raw");

void UnwantedQuarn(benchmark::State& state) {
    quarn::Debug debug({}, nullptr);
    debug.SetAsDefault();
    for (auto _ : state)
        if (quarn::DefaultDebug())
            quarn::DefaultDebug()->Printf(quarn::DEBUG_INFO, __FILE__, __LINE__, MESSAGE, ARGUMENTS);
}
BENCHMARK(UnwantedQuarn)->Name("log/unwanted/quarn");

#if QUARN_BENCH_PEERS

// As long a line as ours: the name of the logger stands in for that of the thread, a level for our missing
// one.
void LineSpdlog(benchmark::State& state) {
    const Directory directory;
    // A line of ours has 84 bytes or so.
    const size_t fileSize = 84 * LINES_PER_FILE;
    spdlog::logger logger("bench_log", std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
                                           directory.Path() + "/log.txt", fileSize, FILES - 1));
    logger.set_pattern("%Y/%m/%d %H:%M:%SZ [%n] %v", spdlog::pattern_time_type::utc);
    logger.flush_on(spdlog::level::trace);
    for (auto _ : state)
        logger.error("axis {}: position {} at tick {}, state {}", ARGUMENTS);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(LineSpdlog)->Name("log/line/spdlog");

void UnwantedSpdlog(benchmark::State& state) {
    spdlog::logger logger("bench_log");
    logger.set_level(spdlog::level::warn);
    for (auto _ : state)
        logger.info("axis {}: position {} at tick {}, state {}", ARGUMENTS);
}
BENCHMARK(UnwantedSpdlog)->Name("log/unwanted/spdlog");

#endif

}  // namespace

QUARN_PINNED_BENCHMARK_MAIN()
