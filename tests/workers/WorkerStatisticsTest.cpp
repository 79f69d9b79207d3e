#include "support/CommandPlayer.h"
#include "workers/ScriptedWorker.h"

#include <sys/socket.h>
#include <unistd.h>

namespace quarn::test {
namespace {

// Without the timing of Work(), which no test can foretell.
void ShowStatistics(Worker& worker, std::ostream& out) {
    std::list<std::string> lines;
    worker.GetStatistics(lines);
    lines.remove_if([](const std::string& line) { return line.starts_with("  "); });
    std::ranges::transform(lines, lines.begin(), TrimRight);
    out << Joined(lines);
}

TEST(WorkerStatisticsTest, NamesTheReasonsOfEveryWakeup) {
    constexpr int kLink = 500;
    ScriptedWorker worker("rx");
    int pair[2] = {-1, -1}, ends[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    ASSERT_EQ(dup2(pair[0], kLink), kLink);
    ASSERT_EQ(pipe(ends), 0);
    std::ostringstream inside, ready;
    worker.initialize = [&] {
        worker.AddWaitableFileDescriptor(kLink, Worker::WAIT_READ | Worker::WAIT_WRITE, "");
        return true;
    };
    worker.preWait = [&] { return worker.works != 4; };
    const std::function<void()> steps[] = {
        [&] {  // go on with a pipe that has no writer: hang-up and nothing else
            worker.RemoveWaitableFileDescriptor(kLink);
            worker.AddWaitableFileDescriptor(kLink, Worker::WAIT_READ, "link");
            worker.AddWaitableFileDescriptor(ends[0], Worker::WAIT_READ, "pipe");
            close(ends[1]);
        },
        [&] {
            worker.RemoveWaitableFileDescriptor(ends[0]);
            worker.Wake();
        },
        [&] { EXPECT_EQ(write(pair[1], "x", 1), 1); },
        [&] {
            EXPECT_EQ(read(kLink, ends + 1, 1), 1);
            worker.SetPollInterval(0);
        },
        [] {},  // no wait came before it
        [] {},
        [&] {  // with the lock held
            ShowStatistics(worker, inside);
            worker.RemoveWaitableFileDescriptor(kLink);
        },
    };
    worker.work = [&] {
        ready << testing::PrintToString(worker.GetReadyFileDescriptors());
        steps[worker.works - 1]();
        return worker.works < std::size(steps);
    };
    const Commands commands{
        {"statistics", [&](auto&, auto& out) { ShowStatistics(worker, out); }},
        {"start", [&](auto&, auto&) { worker.Start(); }},
        {"end", [&](auto&, auto&) { worker.AwaitEnd(); }},
        {"ready", [&](auto&, auto& out) { out << ready.str(); }},
        {"inside", [&](auto&, auto& out) { out << inside.str(); }},
        {"stop", [&](auto&, auto&) { worker.Stop(); }},
        {"clear", [&](auto&, auto&) { worker.ClearStatistics(); }},
    };
    CommandPlayer(commands).Replay("statistics.txt");
    EXPECT_EQ(worker.extras, 1);
    for (int fd : {pair[0], pair[1], ends[0], kLink})
        close(fd);
}

Lines Summary() {
    std::list<std::string> lines;
    Worker::GetAllWorkerSummary(lines);
    return {lines.begin(), lines.end()};
}

TEST(WorkerStatisticsTest, SummarisesAllWorkersBusyOnesToo) {
    ScriptedWorker rx("rx"), idle("idle");
    Obstacle obstacle;
    rx.work = [&] { return obstacle.Block() && rx.works < 1001; };
    rx.StartWorking();
    static bool cleared = false;
    if (!std::exchange(cleared, true)) {  // "never" comes once in a process
        EXPECT_EQ(
            Summary(),
            (Lines{"Name  Status       Runs  CPU% (*)       ", "idle  not started  0     never cleared  ",
                   "rx    running      0     never cleared  ", "(*) since last 'mon clear'"}));
    }
    obstacle.released.Raise();
    rx.SetPollInterval(0);
    const uint64_t beforeClear = Tick();
    Worker::ClearAllWorkerStatistics();
    const uint64_t afterClear = Tick();
    rx.Wake();
    rx.AwaitEnd();
    const uint64_t beforeSummary = Tick();
    const std::string row = Summary().at(2);
    const uint64_t afterSummary = Tick();
    uint64_t whole = 0, fraction = 0;
    ASSERT_EQ(sscanf(row.c_str(), "rx stopping 1000 %lu.%5lu ", &whole, &fraction), 2) << row;
    EXPECT_GE(whole * 100000 + fraction, 10000000000 / (afterSummary - beforeClear));
    EXPECT_LE(whole * 100000 + fraction, 10000000000 / (beforeSummary - afterClear));
    rx.Stop();
}

}  // namespace
}  // namespace quarn::test
