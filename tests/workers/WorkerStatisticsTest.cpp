#include <quarn/LocalTime.h>
#include <quarn/Text.h>

#include "support/Eventually.h"
#include "support/ThrownMessage.h"
#include "workers/ScriptedWorker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdio.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

namespace quarn::test {
namespace {

using Lines = std::list<std::string>;

Lines Table(const std::list<std::list<std::string>>& reasons) {
    std::list<std::list<std::string>> rows{{"Reason", "Count", "%"}};
    rows.insert(rows.end(), reasons.begin(), reasons.end());
    return FormatColumnarList(rows);
}

Lines Statistics(Worker& worker) {
    Lines lines;
    worker.GetStatistics(lines);
    return lines;
}

// The lines from the table's title on, without the timing of Work(), which no test can foretell.
Lines Wakeups(Worker& worker) {
    Lines lines = Statistics(worker);
    while (!lines.empty() && lines.front() != "Wakeups by reason (total of item % may exceed 100)")
        lines.pop_front();
    if (!lines.empty())
        lines.pop_front();
    return lines;
}

TEST(WorkerStatisticsTest, NamesTheReasonsOfEveryWakeup) {
    ScriptedWorker worker("rx");
    EXPECT_EQ(Statistics(worker),
              (Lines{"Worker rx: not started, 0 work calls", "Event work: no occurrences"}));

    int pair[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    int pipeEnds[2] = {-1, -1};
    ASSERT_EQ(pipe(pipeEnds), 0);
    std::vector<std::map<int, int32_t>> ready;
    worker.initialize = [&] {
        worker.AddWaitableFileDescriptor(pair[0], Worker::WAIT_READ | Worker::WAIT_WRITE, "");
        return true;
    };
    worker.work = [&] {
        ready.push_back(worker.GetReadyFileDescriptors());
        switch (ready.size()) {
            case 1:  // writable from the start; go on with a pipe that has no writer: hang-up and nothing
                     // else
                worker.RemoveWaitableFileDescriptor(pair[0]);
                worker.AddWaitableFileDescriptor(pair[0], Worker::WAIT_READ, "link");
                worker.AddWaitableFileDescriptor(pipeEnds[0], Worker::WAIT_READ, "pipe");
                close(pipeEnds[1]);
                break;
            case 2:
                worker.RemoveWaitableFileDescriptor(pipeEnds[0]);
                worker.Wake();
                break;
            default:
                EXPECT_EQ(write(pair[1], "x", 1), 1);
                break;
        }
        return ready.size() < 4;
    };
    worker.Start();
    ASSERT_TRUE(Eventually([&] { return worker.finalizes == 1; }));
    worker.Stop();
    EXPECT_EQ(ready, (std::vector<std::map<int, int32_t>>{
                         {{pair[0], Worker::WAIT_WRITE}}, {}, {}, {{pair[0], Worker::WAIT_READ}}}));
    EXPECT_EQ(
        Wakeups(worker),
        Table({{"Timeout", "0", "0"}, {"Event", "1", "25"}, {Format("fd %d (link)", pair[0]), "2", "50"}}));
    EXPECT_EQ(Statistics(worker).front(), "Worker rx: joined, 4 work calls");
    worker.ClearStatistics();
    EXPECT_EQ(Statistics(worker), (Lines{"Worker rx: joined, 0 work calls", "Event work: no occurrences"}));
    for (int fd : {pair[0], pair[1], pipeEnds[0]})
        close(fd);
}

TEST(WorkerStatisticsTest, CountsEachTimeoutAndShowsItsShareTruncated) {
    ScriptedWorker worker("poller");
    worker.SetPollInterval(0);
    worker.work = [&] {
        if (worker.works == 2)
            worker.Wake();
        return worker.works < 3;
    };
    worker.Start();
    ASSERT_TRUE(Eventually([&] { return worker.finalizes == 1; }));
    // The thread has left its lock locked, and the figures can be read all the same.
    Lines expected = Table({{"Timeout", "2", "66"}, {"Event", "1", "33"}});
    expected.push_back("extra");
    EXPECT_EQ(Wakeups(worker), expected);
    worker.Stop();
}

TEST(WorkerStatisticsTest, KeepsTheReadySetWhenPreWaitSkipsTheWait) {
    ScriptedWorker worker("skipper");
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    worker.initialize = [&] {
        worker.AddWaitableFileDescriptor(ends[1], Worker::WAIT_WRITE, "pipe");
        return true;
    };
    worker.preWait = [&] { return worker.works == 0; };
    size_t nonEmpty = 0;
    worker.work = [&] {
        nonEmpty += worker.GetReadyFileDescriptors().contains(ends[1]);
        if (worker.works == 3)
            worker.RemoveWaitableFileDescriptor(ends[1]);
        return worker.works < 3;
    };
    worker.Start();
    ASSERT_TRUE(Eventually([&] { return worker.finalizes == 1; }));
    worker.Stop();
    EXPECT_EQ(nonEmpty, 3u);
    EXPECT_EQ(Wakeups(worker), Table({{"Timeout", "0", "0"},
                                      {"Event", "0", "0"},
                                      {Format("fd %d (no description)", ends[1]), "1", "100"}}));
    close(ends[0]);
    close(ends[1]);
}

TEST(WorkerStatisticsTest, AsksTheOwnerForMoreOnlyWhileTheWorkerLives) {
    ScriptedWorker worker("owner");
    Statistics(worker);
    EXPECT_EQ(worker.extras, 0);
    bool fromInside = false;
    worker.work = [&] {
        EXPECT_EQ(Statistics(worker).back(), "extra");  // from inside, with the lock held
        worker.ClearStatistics();
        EXPECT_EQ(Statistics(worker).front(), "Worker owner: running, 0 work calls");
        return fromInside = true;
    };
    worker.Start();
    worker.Wake();
    ASSERT_TRUE(Eventually([&] { return worker.works == 1; }));
    EXPECT_EQ(Statistics(worker).back(), "extra");
    worker.Stop();
    EXPECT_TRUE(fromInside);
    const int before = worker.extras;
    EXPECT_NE(Statistics(worker).back(), "extra");
    worker.ClearStatistics();
    EXPECT_EQ(worker.extras, before);
}

TEST(WorkerStatisticsTest, SummarisesAllWorkersBusyOnesToo) {
    const auto summary = [] {
        Lines lines;
        Worker::GetAllWorkerSummary(lines);
        return lines;
    };
    ScriptedWorker rx("rx");
    ScriptedWorker idle("idle");
    Obstacle obstacle;
    rx.work = [&] { return obstacle.Block(); };
    rx.Start();
    rx.Wake();
    ASSERT_TRUE(obstacle.reached.WaitFor(20000));
    static bool cleared = false;
    if (!std::exchange(cleared, true)) {  // "never" comes once in a process
        Lines expected = FormatColumnarList({{"Name", "Status", "Runs", "CPU% (*)"},
                                             {"idle", "not started", "0", "never cleared"},
                                             {"rx", "running", "0", "never cleared"}});
        expected.push_back("(*) since last 'mon clear'");
        EXPECT_EQ(summary(), expected);
    }
    obstacle.released.Raise();

    const uint64_t beforeClear = Tick();
    Worker::ClearAllWorkerStatistics();
    const uint64_t afterClear = Tick();
    const uint64_t base = rx.works;
    for (int i = 0; i < 1000; ++i)
        rx.Wake();
    ASSERT_TRUE(Eventually([&] { return rx.works >= base + 1000; }));
    ASSERT_TRUE(rx.Lock());  // not in the middle of a run
    rx.Unlock();
    const uint64_t beforeSummary = Tick();
    const std::string row = *std::next(summary().begin(), 2);
    const uint64_t afterSummary = Tick();
    uint64_t runs = 0;
    uint64_t whole = 0;
    uint64_t fraction = 0;
    ASSERT_EQ(sscanf(row.c_str(), "rx running %lu %lu.%5lu ", &runs, &whole, &fraction), 3) << row;
    EXPECT_GE(runs, 1000u);
    EXPECT_GE(whole * 100000 + fraction, runs * 10000000 / (afterSummary - beforeClear));
    EXPECT_LE(whole * 100000 + fraction, runs * 10000000 / (beforeSummary - afterClear));
    rx.Stop();
}

}  // namespace
}  // namespace quarn::test
