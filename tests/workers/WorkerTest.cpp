#include "support/AllocationWatch.h"
#include "support/CommandPlayer.h"
#include "workers/ScriptedWorker.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace quarn::test {
namespace {

// Workers by their names, and a number that they share with others.
struct WorkerTest : testing::Test {
    WorkerTest() { dup2(event, kDescriptor); }
    ~WorkerTest() override {
        close(event);
        close(kDescriptor);
    }

    using Override = ScriptedWorker::Override;

    ScriptedWorker& Of(const Words& w) { return *workers.at(w.at(1)); }
    void Make(const Words& w, std::ostream& out) {
        auto worker = std::make_unique<ScriptedWorker>(w.at(1), &parent);
        if (worker->GetName() != w[1])
            out << worker->GetName();
        workers[worker->GetName()] = std::move(worker);
    }
    // A life that an override ends: how the worker shows then, and what is printed.
    void Live(const Words& w, std::ostream& out) {
        ScriptedWorker worker("rx");
        worker.work = actions.at("ends");
        worker.*overrides.at(w.at(1)) = actions.at(w.at(2));
        worker.Start();
        worker.Wake();
        worker.AwaitEnd();
        out << worker.GetStatus() << (worker.TryLock(1000) ? ", lock free\n" : "\n");
        worker.Stop();
        ShowPrinted(out);
    }
    bool Locked(const Words& w) {
        const WorkerLock nothing(nullptr), lock(&Of(w));
        return !Of(w).TryLock(0);
    }
    bool Set(const Words& w) {
        const int value = std::stoi(w.at(2));
        return Of(w).SetSharedDataAndWake(&shared, &value, sizeof(shared));
    }
    bool Await(const Words& w) {
        const int value = std::stoi(w.at(2));
        return Of(w).WaitForSharedDataEqual(&shared, &value, sizeof(shared), 1, std::stoi(w.at(3)));
    }
    // Ends late enough for somebody to have got into TryLock(); if nobody has, nothing is shown.
    bool Linger() {
        obstacles.back().reached.Raise();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return false;
    }
    void ShowPrinted(std::ostream& out) {
        const Lines lines = capture.Lines();
        out << Joined(Lines(lines.begin() + long(std::exchange(shown, lines.size())), lines.end()));
    }

    static constexpr int kDescriptor = 500;
    const int event = eventfd(0, 0);
    DebugCapture capture{DEBUG_ERR | DEBUG_INFO};
    size_t shown = 0;
    Debuggable root{nullptr}, parent{&root};
    std::list<Obstacle> obstacles;
    int shared = 1;
    std::map<std::string, std::unique_ptr<ScriptedWorker>> workers;
    const std::map<std::string, Override ScriptedWorker::*> overrides{
        {"initialize", &ScriptedWorker::initialize},
        {"pre-wait", &ScriptedWorker::preWait},
        {"work", &ScriptedWorker::work},
        {"finalize", &ScriptedWorker::finalize}};
    const std::map<std::string, Override> actions{
        {"ends", [] { return false; }},
        {"throws", []() -> bool { throw MonitorException("boom %d", 1); }},
        {"lingers", [&] { return Linger(); }},
        {"blocks", [&] { return obstacles.back().Block() && ++shared != 0; }}};
    const Commands commands{
        {"make", [&](auto& w, auto& out) { Make(w, out); }},
        {"live", [&](auto& w, auto& out) { Live(w, out); }},
        {"let", [&](auto& w, auto&) { Of(w).*overrides.at(w.at(2)) = actions.at(w.at(3)); }},
        {"start", [&](auto& w, auto&) { Of(w).Start(); }},
        {"work", [&](auto& w, auto&) { Of(w).StartWorking(); }},
        {"wake", [&](auto& w, auto&) { Of(w).Wake(); }},
        {"stop", [&](auto& w, auto&) { Of(w).Stop(); }},
        {"end", [&](auto& w, auto&) { Of(w).AwaitEnd(); }},
        {"destroy", [&](auto& w, auto&) { workers.erase(w.at(1)); }},
        {"status", [&](auto& w, auto& out) { out << Of(w).GetStatus(); }},
        {"watch", [&](auto& w, auto&) { Of(w).AddWaitableFileDescriptor(std::stoi(w.at(2)), 0, ""); }},
        {"unwatch", [&](auto& w, auto&) { Of(w).RemoveWaitableFileDescriptor(std::stoi(w.at(2))); }},
        {"try", [&](auto& w, auto& out) { out << Of(w).TryLock(std::stoi(w.at(2))); }},
        {"locked", [&](auto& w, auto& out) { out << Locked(w); }},
        {"set", [&](auto& w, auto& out) { out << Set(w); }},
        {"await", [&](auto& w, auto& out) { out << Await(w); }},
        {"shared", [&](auto&, auto& out) { out << shared; }},
        {"obstacle", [&](auto&, auto&) { obstacles.emplace_back(); }},
        {"reached", [&](auto&, auto& out) { out << obstacles.back().reached.WaitFor(20000); }},
        {"release", [&](auto&, auto&) { obstacles.back().released.Raise(); }},
        {"level", [&](auto& w, auto&) { root.SetDebugLevel(std::stoi(w.at(1))); }},
        {"printed", [&](auto&, auto& out) { ShowPrinted(out); }},
    };
};

TEST_F(WorkerTest, LivesAsTheTranscriptSays) {
    CommandPlayer(commands).Replay("worker.txt");
}

TEST_F(WorkerTest, RunsInAThreadOfItsOwnWhateverTheSignals) {
    const sighandler_t previous = signal(SIGUSR1, [](int) {});
    ScriptedWorker worker("rx");
    pthread_t thread{};
    worker.initialize = [&] {
        thread = pthread_self();
        return worker.IsCallerWorker() && Debug::GetThreadName() == "rx";
    };
    worker.StartWorking();
    EXPECT_TRUE(fcntl(worker.GetPollDescriptor(), F_GETFD) & FD_CLOEXEC);
    EXPECT_FALSE(worker.IsCallerWorker());
    EXPECT_TRUE(Eventually([&] {
        pthread_kill(thread, SIGUSR1);
        return capture.Contains("epoll_wait interrupted by signal in worker \"rx\"");
    }));
    EXPECT_EQ(worker.works, 1u);
    worker.Stop();
    signal(SIGUSR1, previous);
}

TEST_F(WorkerTest, RunsCyclesWithoutAllocating) {
    ScriptedWorker worker("steady");
    worker.initialize = [&] {
        worker.AddWaitableFileDescriptor(event, Worker::WAIT_WRITE, "always ready");
        return true;
    };
    uint64_t before = 0, after = 1;
    worker.work = [&] {
        (worker.works == 10 ? before : after) = AllocationWatch::countOfThread;
        return worker.works < 1000;
    };
    worker.Start();
    worker.AwaitEnd();
    worker.Stop();
    EXPECT_EQ(after, before);
}

TEST_F(WorkerTest, SurvivesManyLivesUnderLoad) {
    const auto live = [] {
        for (int life = 0; life < 50; ++life) {
            ScriptedWorker worker("life");
            uint64_t number = 0;
            worker.work = [&] { return ++number != 0; };
            worker.Start();
            std::jthread neighbour([&] {
                for (uint64_t value = 0; value < 5000; value += 1000) {
                    worker.Wake();
                    worker.SetSharedDataAndWake(&number, &value, sizeof(number));
                    const WorkerLock lock(&worker);
                }
            });
            std::list<std::string> lines;
            worker.GetStatistics(lines);
            worker.Stop();
            neighbour.join();
            EXPECT_EQ(worker.finalizes, 1);
        }
    };
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(live);
}

}  // namespace
}  // namespace quarn::test
