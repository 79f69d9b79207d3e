#include <quarn/Debuggable.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>
#include <quarn/WorkerLock.h>

#include "support/AllocationWatch.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"
#include "workers/ScriptedWorker.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <list>
#include <memory>
#include <thread>
#include <vector>

namespace quarn::test {
namespace {

TEST(WorkerTest, RegistersUnderTheFirstFreeName) {
    const ScriptedWorker first("rx");
    auto second = std::make_unique<ScriptedWorker>("rx");
    EXPECT_EQ(second->GetName(), "rx-1");
    EXPECT_EQ(ScriptedWorker("rx").GetName(), "rx-2");
    second.reset();
    EXPECT_EQ(ScriptedWorker("rx").GetName(), "rx-1");
}

TEST(WorkerTest, GoesThroughItsLifeOnceAndPrintsItAtADebugLevel) {
    const std::string interrupted = "epoll_wait interrupted by signal in worker \"rx\"";
    const sighandler_t previous = signal(SIGUSR1, [](int) {});
    DebugCapture capture(DEBUG_ERR);
    Debuggable root(nullptr), parent(&root);
    ScriptedWorker worker("rx", &parent), never("never");
    EXPECT_EQ(worker.GetStatus(), "not started");
    EXPECT_EQ(ThrownMessage([&] { worker.Wake(); }),
              "Wake called on worker \"rx\", but it has not been started");
    EXPECT_EQ(ThrownMessage([&] { worker.AddWaitableFileDescriptor(0, Worker::WAIT_READ, ""); }),
              "Error adding file descriptor 0 to epoll instance: Bad file descriptor");
    std::string threadName;
    pthread_t thread{};
    worker.initialize = [&] {
        threadName = Debug::GetThreadName();
        thread = pthread_self();
        return worker.IsCallerWorker();
    };
    root.SetDebugLevel(1);
    worker.StartWorking();
    EXPECT_EQ(worker.GetStatus(), "running");
    EXPECT_EQ(ThrownMessage([&] { worker.RemoveWaitableFileDescriptor(12345); }),
              "Error removing file descriptor 12345 from epoll instance: Bad file descriptor");
    EXPECT_TRUE(fcntl(worker.GetPollDescriptor(), F_GETFD) & FD_CLOEXEC);
    EXPECT_FALSE(worker.IsCallerWorker());
    EXPECT_TRUE(Eventually([&] {
        pthread_kill(thread, SIGUSR1);
        return capture.Contains(interrupted);
    }));
    EXPECT_EQ(worker.works, 1u);
    worker.Stop();
    never.Stop();
    signal(SIGUSR1, previous);
    Lines printed = capture.Lines();
    std::erase(printed, interrupted);
    EXPECT_EQ(
        printed,
        (Lines{"Creating worker thread for worker \"rx\"", "Worker \"rx\" calling Initialize override",
               "Worker \"rx\" completed Initialize override", "Worker \"rx\" was told to stop while waiting",
               "Worker \"rx\" calling Finalize override", "Worker \"rx\" completed Finalize override"}));
    EXPECT_EQ(threadName, "rx");
    EXPECT_EQ(worker.GetStatus() + never.GetStatus(), "joinedabandoned");
    worker.Stop();
    worker.Wake();
    EXPECT_EQ(worker.finalizes, 1);
    EXPECT_FALSE(worker.Lock());
    EXPECT_EQ(ThrownMessage([&] { worker.Start(); }), "Worker \"rx\" has already been started.");
    EXPECT_EQ(ThrownMessage([&] { never.Start(); }), "Worker \"never\" has already been stopped.");
}

TEST(WorkerTest, EndsByItselfWithFinalizeAndSaysWhy) {
    using Override = ScriptedWorker::Override;
    const Override boom = []() -> bool { throw MonitorException("boom %d", 1); };
    const Override no = [] { return false; };
    const std::string ended = "Worker \"rx\" Work override requested exit";
    const Lines raised = {"Worker \"rx\" raised exception", "  boom 1"};
    const std::tuple<Override ScriptedWorker::*, Override, Lines> cases[] = {
        {&ScriptedWorker::initialize, no, {"Worker \"rx\" Initialize override requested exit"}},
        {&ScriptedWorker::initialize, boom, raised},
        {&ScriptedWorker::preWait, boom, raised},
        {&ScriptedWorker::work, boom, raised},
        {&ScriptedWorker::work, no, {ended}},
        {&ScriptedWorker::finalize,
         boom,
         {ended, "Worker \"rx\" Finalize override raised exception", raised[1]}},
    };
    for (const auto& [override, action, printed] : cases) {
        DebugCapture capture;
        {
            ScriptedWorker worker("rx");
            worker.work = no;
            worker.*override = action;
            worker.Start();
            worker.Wake();
            worker.AwaitEnd();
            EXPECT_EQ(worker.GetStatus(), "stopping");
            EXPECT_FALSE(worker.Lock() || worker.TryLock(1000));
            worker.Stop();
            EXPECT_EQ(worker.finalizes, 1);
        }
        EXPECT_EQ(capture.Lines(), printed);  // and nothing at its destruction
    }
}

TEST(WorkerTest, LocksOutOthersForASecondAtMostAndRunsOncePerWake) {
    ScriptedWorker worker("rx");
    Obstacle obstacle;
    int shared = 1;
    const int two = 2, three = 3, seven = 7;
    worker.work = [&] { return obstacle.Block() && ++shared != 0; };
    EXPECT_EQ(ThrownMessage([&] { worker.SetSharedDataAndWake(&shared, &two, sizeof(shared)); }),
              "Wake called on worker \"rx\", but it has not been started");
    EXPECT_EQ(shared, 2);
    ASSERT_TRUE(worker.TryLock(0));  // released in spite of the exception
    worker.Unlock();

    worker.Start();
    EXPECT_FALSE(worker.SetSharedDataAndWake(&shared, &two, sizeof(shared)));  // equal: no wake
    EXPECT_TRUE(worker.SetSharedDataAndWake(&shared, &three, sizeof(shared)));
    ASSERT_TRUE(obstacle.reached.WaitFor(20000));
    EXPECT_FALSE(worker.TryLock(10));
    EXPECT_EQ(ThrownMessage([&] { WorkerLock lock(&worker); }),
              "Timed out waiting on mutex for worker \"rx\"");
    for (int i = 0; i < 3; ++i)
        worker.Wake();
    obstacle.released.Raise();
    {
        WorkerLock nothing(nullptr), lock(&worker);
        EXPECT_FALSE(worker.TryLock(0));
    }
    EXPECT_TRUE(worker.WaitForSharedDataEqual(&shared, &seven, sizeof(shared), 1, 20000));
    EXPECT_FALSE(worker.WaitForSharedDataEqual(&shared, &three, sizeof(shared), 1, 5));
    EXPECT_TRUE(worker.WaitForSharedDataEqual(&shared, &seven, sizeof(shared), 1, 0));
    worker.Stop();
    EXPECT_FALSE(worker.WaitForSharedDataEqual(&shared, &seven, sizeof(shared), 1, 1000));
    EXPECT_FALSE(worker.SetSharedDataAndWake(&shared, &three, sizeof(shared)));
    EXPECT_EQ(shared, 7);
}

TEST(WorkerTest, TurnsAwayWaitingThreadsAsSoonAsItFinishes) {
    ScriptedWorker worker("rx");
    PermanentCondition ending, turnedAway;
    bool inTime = false;
    worker.initialize = [&] {
        ending.Raise();
        // Time to get into TryLock(); whether that succeeds does not matter to the outcome.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return false;
    };
    worker.finalize = [&] { return inTime = turnedAway.WaitFor(10000); };  // the lock is held meanwhile
    worker.Start();
    ending.WaitFor(20000);
    EXPECT_FALSE(worker.TryLock(20000));
    turnedAway.Raise();
    worker.Stop();
    EXPECT_TRUE(inTime);
}

TEST(WorkerTest, IsAbandonedWhenItDoesNotStopInTime) {
    static auto& forGood = *new std::list<ScriptedWorker>;  // as long as an abandoned worker must live
    static auto& obstacles = *new std::list<Obstacle>;
    ScriptedWorker& worker = forGood.emplace_back("stuck");
    Obstacle& obstacle = obstacles.emplace_back();
    worker.work = [&obstacle] { return obstacle.Block(); };
    worker.StartWorking();
    EXPECT_EQ(ThrownMessage([&] { worker.Stop(); }),
              "Timeout waiting for thread to exit on worker \"" + worker.GetName() + "\"");
    EXPECT_EQ(worker.GetStatus(), "abandoned");
    worker.Stop();
    obstacle.released.Raise();
    worker.AwaitEnd();
    EXPECT_EQ(worker.GetStatus(), "abandoned");
}

TEST(WorkerTest, WarnsWhenItIsDestroyedWithoutStop) {
    DebugCapture capture(DEBUG_ERR);
    const int fd = eventfd(0, 0);
    {
        ScriptedWorker worker("sleeping");
        worker.StartWorking();
        worker.AddWaitableFileDescriptor(fd, 0, "");
    }
    EXPECT_EQ(capture.Lines(),
              (Lines{"WARNING: Worker \"sleeping\" is being destroyed without Stop having been called.",
                     "         If its unjoined thread ever exits, the application will crash.",
                     "WARNING: Worker \"sleeping\" is being destroyed with the following file descriptors",
                     "         still in its waitable set.  This is not a problem, but if the owner",
                     "         did not remove them, it may mean that it also forgot to close them.",
                     Format("          fd %d (no description)", fd)}));
    close(fd);
}

TEST(WorkerTest, RunsCyclesWithoutAllocating) {
    ScriptedWorker worker("steady");
    const int fd = eventfd(0, 0);
    worker.initialize = [&] {
        worker.AddWaitableFileDescriptor(fd, Worker::WAIT_WRITE, "always ready");
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
    close(fd);
}

TEST(WorkerTest, SurvivesManyLivesUnderLoad) {
    const auto live = [] {
        for (int life = 0; life < 50; ++life) {
            ScriptedWorker worker("life");
            uint64_t shared = 0;
            worker.work = [&] { return ++shared != 0; };
            worker.Start();
            std::thread neighbour([&] {
                for (uint64_t value = 0; value < 5000; value += 1000) {
                    worker.Wake();
                    worker.SetSharedDataAndWake(&shared, &value, sizeof(shared));
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
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(live);
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
}  // namespace quarn::test
