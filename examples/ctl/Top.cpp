#include "ctl/Top.h"

#include <quarn/LocalTime.h>
#include <quarn/Text.h>

#include "ctl/ConsoleClient.h"
#include "ctl/WorkerReport.h"

#include <stdio.h>
#include <unistd.h>

namespace unit {

namespace {

constexpr uint32_t kConnectMs = 2000;
constexpr uint32_t kAnswerMs = 10000;
constexpr char kHomeAndClear[] = "\x1b[H\x1b[2J";

struct Snapshot {
    uint64_t tick;
    std::vector<WorkerFigures> workers;
};

Snapshot Take(ConsoleClient& console) {
    return {quarn::Tick(), ParseWorkerReport(console.Execute("mon stats", kAnswerMs))};
}

}  // namespace

void ShowTop(const Endpoint& endpoint, uint32_t intervalMs, uint64_t count) {
    ConsoleClient console(endpoint, kConnectMs);
    const bool isTerminal = isatty(STDOUT_FILENO) != 0;
    Snapshot before = Take(console);
    for (uint64_t shown = 0; count == 0 || shown < count; ++shown) {
        usleep(intervalMs * 1000);
        Snapshot now = Take(console);
        const double seconds = static_cast<double>(now.tick - before.tick) / 1e6;
        if (isTerminal)
            fputs(kHomeAndClear, stdout);
        else if (shown > 0)
            putchar('\n');
        printf("%s, over %.1f s\n", endpoint.ToString().c_str(), seconds);
        for (const std::string& line : FormatWorkerReport(before.workers, now.workers, seconds))
            puts(quarn::Prettify(quarn::TrimRight(line)).c_str());
        fflush(stdout);
        before = std::move(now);
    }
}

}  // namespace unit
