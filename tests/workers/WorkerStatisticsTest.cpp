#include <quarn/LocalTime.h>
#include <quarn/Text.h>

#include "workers/ScriptedWorker.h"

#include <stdio.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace quarn::test {
namespace {

using Lines = std::list<std::string>;

Lines Statistics(Worker& worker) {
    Lines lines;
    worker.GetStatistics(lines);
    return lines;
}

// The lines from the table's title on, without the timing of Work(), which no test can foretell.
Lines Wakeups(Worker& worker) {
    const Lines lines = Statistics(worker);
    return {std::next(lines.begin(), 4), lines.end()};
}

Lines WakeupTable(const std::string& descriptor, const Lines& more) {
    Lines lines{"Wakeups by reason (total of item % may exceed 100)"};
    lines.splice(lines.end(), FormatColumnarList({{"Reason", "Count", "%"},
                                                  {"Timeout", "2", "33"},
                                                  {"Event", "1", "16"},
                                                  {descriptor, "2", "33"}}));
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

TEST(WorkerStatisticsTest, NamesTheReasonsOfEveryWakeup) {
    using Ready = std::map<int, int32_t>;
    ScriptedWorker worker("rx");
    EXPECT_EQ(Statistics(worker),
              (Lines{"Worker rx: not started, 0 work calls", "Event work: no occurrences"}));

    int pair[2] = {-1, -1}, ends[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    ASSERT_EQ(pipe(ends), 0);
    std::vector<Ready> ready;
    worker.initialize = [&] {
        worker.AddWaitableFileDescriptor(pair[0], Worker::WAIT_READ | Worker::WAIT_WRITE, "");
        return true;
    };
    worker.preWait = [&] { return worker.works != 4; };
    worker.work = [&] {
        ready.push_back(worker.GetReadyFileDescriptors());
        switch (worker.works) {
            case 1:  // go on with a pipe that has no writer: hang-up and nothing else
                worker.RemoveWaitableFileDescriptor(pair[0]);
                worker.AddWaitableFileDescriptor(pair[0], Worker::WAIT_READ, "link");
                worker.AddWaitableFileDescriptor(ends[0], Worker::WAIT_READ, "pipe");
                close(ends[1]);
                break;
            case 2:
                worker.RemoveWaitableFileDescriptor(ends[0]);
                worker.Wake();
                break;
            case 3:
                EXPECT_EQ(write(pair[1], "x", 1), 1);
                break;
            case 4:
                EXPECT_EQ(read(pair[0], ends, 1), 1);
                worker.SetPollInterval(0);
                break;
            case 7:  // from inside, with the lock held
                EXPECT_EQ(Wakeups(worker), WakeupTable(Format("fd %d (link)", pair[0]), {"extra"}));
                worker.RemoveWaitableFileDescriptor(pair[0]);
                break;
        }
        return worker.works < 7;
    };
    worker.Start();
    worker.AwaitEnd();
    // The thread has left its lock locked, and the figures can be read all the same.
    const std::string nameless = Format("fd %d (no description)", pair[0]);
    EXPECT_EQ(Wakeups(worker), WakeupTable(nameless, {"extra"}));
    worker.Stop();
    const Ready readable{{pair[0], Worker::WAIT_READ}};
    // The fifth was no wait, and the set stayed what it was.
    EXPECT_EQ(ready,
              (std::vector<Ready>{{{pair[0], Worker::WAIT_WRITE}}, {}, {}, readable, readable, {}, {}}));
    EXPECT_EQ(Wakeups(worker), WakeupTable(nameless, {}));
    EXPECT_EQ(Statistics(worker).front(), "Worker rx: joined, 7 work calls");
    worker.ClearStatistics();
    EXPECT_EQ(Statistics(worker), (Lines{"Worker rx: joined, 0 work calls", "Event work: no occurrences"}));
    EXPECT_EQ(worker.extras, 2);
    for (int fd : {pair[0], pair[1], ends[0]})
        close(fd);
}

TEST(WorkerStatisticsTest, SummarisesAllWorkersBusyOnesToo) {
    const auto summary = [] {
        Lines lines;
        Worker::GetAllWorkerSummary(lines);
        return lines;
    };
    ScriptedWorker rx("rx"), idle("idle");
    Obstacle obstacle;
    rx.work = [&] { return obstacle.Block() && rx.works < 1001; };
    rx.StartWorking();
    static bool cleared = false;
    if (!std::exchange(cleared, true)) {  // "never" comes once in a process
        Lines expected = FormatColumnarList({{"Name", "Status", "Runs", "CPU% (*)"},
                                             {"idle", "not started", "0", "never cleared"},
                                             {"rx", "running", "0", "never cleared"}});
        expected.push_back("(*) since last 'mon clear'");
        EXPECT_EQ(summary(), expected);
    }
    obstacle.released.Raise();
    Statistics(rx);
    const uint64_t beforeClear = Tick();
    Worker::ClearAllWorkerStatistics();
    const uint64_t afterClear = Tick();
    EXPECT_EQ(rx.extras, 0);
    rx.SetPollInterval(0);
    rx.Wake();
    rx.AwaitEnd();
    const uint64_t beforeSummary = Tick();
    const std::string row = *std::next(summary().begin(), 2);
    const uint64_t afterSummary = Tick();
    uint64_t whole = 0, fraction = 0;
    ASSERT_EQ(sscanf(row.c_str(), "rx stopping 1000 %lu.%5lu ", &whole, &fraction), 2) << row;
    EXPECT_GE(whole * 100000 + fraction, 10000000000 / (afterSummary - beforeClear));
    EXPECT_LE(whole * 100000 + fraction, 10000000000 / (beforeSummary - afterClear));
    rx.Stop();
}

}  // namespace
}  // namespace quarn::test
