#include <quarn/Debuggable.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>
#include <quarn/WorkerLock.h>

#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/ThrownMessage.h"
#include "workers/ScriptedWorker.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
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
    const ScriptedWorker third("rx");
    EXPECT_EQ(first.GetName(), "rx");
    EXPECT_EQ(second->GetName(), "rx-1");
    EXPECT_EQ(third.GetName(), "rx-2");
    second.reset();
    EXPECT_EQ(ScriptedWorker("rx").GetName(), "rx-1");
}

TEST(WorkerTest, GoesThroughItsLifeOnce) {
    ScriptedWorker worker("rx");
    EXPECT_EQ(worker.GetStatus(), "not started");
    EXPECT_EQ(worker.GetPollDescriptor(), -1);
    EXPECT_EQ(worker.GetPollInterval(), -1);
    EXPECT_EQ(ThrownMessage([&] { worker.Wake(); }),
              "Wake called on worker \"rx\", but it has not been started");
    EXPECT_EQ(ThrownMessage([&] { worker.AddWaitableFileDescriptor(0, Worker::WAIT_READ, ""); }),
              "Error adding file descriptor 0 to epoll instance: Bad file descriptor");
    bool insideIsWorker = false;
    std::string threadName;
    worker.initialize = [&] {
        insideIsWorker = worker.IsCallerWorker();
        threadName = Debug::GetThreadName();
        return true;
    };
    worker.Start();
    EXPECT_EQ(worker.GetStatus(), "running");
    EXPECT_EQ(ThrownMessage([&] { worker.Start(); }), "Worker \"rx\" has already been started.");
    EXPECT_EQ(ThrownMessage([&] { worker.RemoveWaitableFileDescriptor(12345); }),
              "Error removing file descriptor 12345 from epoll instance: Bad file descriptor");
    EXPECT_TRUE(fcntl(worker.GetPollDescriptor(), F_GETFD) & FD_CLOEXEC);
    EXPECT_FALSE(worker.IsCallerWorker());
    worker.Wake();
    ASSERT_TRUE(Eventually([&] { return worker.works == 1; }));
    worker.Stop();
    EXPECT_TRUE(insideIsWorker);
    EXPECT_EQ(threadName, "rx");
    EXPECT_EQ(worker.GetStatus(), "joined");
    EXPECT_EQ(worker.finalizes, 1);
    worker.Stop();
    worker.Wake();
    EXPECT_FALSE(worker.Lock());
    EXPECT_EQ(ThrownMessage([&] { worker.Start(); }), "Worker \"rx\" has already been started.");

    ScriptedWorker never("never");
    never.Stop();
    EXPECT_EQ(never.GetStatus(), "abandoned");
    EXPECT_EQ(ThrownMessage([&] { never.Start(); }), "Worker \"never\" has already been stopped.");
}

TEST(WorkerTest, RunsOncePerWake) {
    ScriptedWorker worker("rx");
    Obstacle obstacle;
    worker.work = [&] { return obstacle.Block(); };
    worker.Start();
    worker.Wake();
    ASSERT_TRUE(obstacle.reached.WaitFor(20000));
    for (int i = 0; i < 3; ++i)
        worker.Wake();
    obstacle.released.Raise();
    EXPECT_TRUE(Eventually([&] { return worker.works >= 4; }));
    worker.Stop();
    EXPECT_EQ(worker.works, 4u);
}

TEST(WorkerTest, EndsByItselfWithFinalizeAndSaysWhy) {
    using Override = std::function<bool()>;
    const Override boom = []() -> bool { throw MonitorException("boom %d", 1); };
    const Override no = [] { return false; };
    const Override yes = [] { return true; };
    const Lines raised = {"Worker \"rx\" raised exception", "  boom 1"};
    const struct {
        Override initialize, preWait, work, finalize;
        Lines printed;
    } cases[] = {
        {no, yes, yes, yes, {"Worker \"rx\" Initialize override requested exit"}},
        {boom, yes, yes, yes, raised},
        {yes, boom, yes, yes, raised},
        {yes, yes, no, yes, {"Worker \"rx\" Work override requested exit"}},
        {yes, yes, boom, yes, raised},
        {yes,
         no,
         no,
         boom,
         {"Worker \"rx\" Work override requested exit", "Worker \"rx\" Finalize override raised exception",
          "  boom 1"}},
    };
    for (const auto& c : cases) {
        DebugCapture capture;
        {
            ScriptedWorker worker("rx");
            worker.initialize = c.initialize;
            worker.preWait = c.preWait;
            worker.work = c.work;
            worker.finalize = c.finalize;
            worker.Start();
            worker.Wake();
            EXPECT_TRUE(Eventually([&] { return worker.finalizes == 1; }));
            EXPECT_EQ(worker.GetStatus(), "stopping");
            EXPECT_FALSE(worker.Lock() || worker.TryLock(1000));
            worker.Stop();
            EXPECT_EQ(worker.GetStatus(), "joined");
            EXPECT_EQ(worker.finalizes, 1);
        }
        EXPECT_EQ(capture.Lines(), c.printed);  // and nothing at its destruction
    }
}

TEST(WorkerTest, PrintsItsProgressAtADebugLevel) {
    DebugCapture capture(0);  // nothing but what is always printed
    Debuggable parent(nullptr);
    const auto run = [&] {
        ScriptedWorker worker("rx", &parent);
        worker.Start();
        worker.Wake();
        EXPECT_TRUE(Eventually([&] { return worker.works == 1; }));
        worker.Stop();
    };
    run();
    EXPECT_EQ(capture.Lines(), Lines{});
    parent.SetDebugLevel(1);
    run();
    EXPECT_EQ(capture.Lines(),
              (Lines{"Creating worker thread for worker \"rx\"", "Worker \"rx\" calling Initialize override",
                     "Worker \"rx\" completed Initialize override", "Worker \"rx\" calling Finalize override",
                     "Worker \"rx\" completed Finalize override"}));
}

TEST(WorkerTest, SaysWhenItIsStoppedOrInterruptedWhileWaiting) {
    DebugCapture capture(DEBUG_ERR);
    const sighandler_t previous = signal(SIGUSR1, [](int) {});
    ScriptedWorker worker("rx");
    pthread_t thread{};
    worker.initialize = [&] {
        thread = pthread_self();
        return true;
    };
    worker.Start();
    worker.Wake();
    ASSERT_TRUE(Eventually([&] { return worker.works == 1; }));
    EXPECT_TRUE(Eventually([&] {
        pthread_kill(thread, SIGUSR1);
        return capture.Contains("epoll_wait interrupted by signal in worker \"rx\"");
    }));
    EXPECT_EQ(worker.works, 1u);
    worker.Stop();
    EXPECT_EQ(capture.Lines().back(), "Worker \"rx\" was told to stop while waiting");
    signal(SIGUSR1, previous);
}

TEST(WorkerTest, LocksOutOthersForASecondAtMost) {
    ScriptedWorker worker("rx");
    Obstacle obstacle;
    worker.work = [&] { return obstacle.Block(); };
    int shared = 1;
    const int other = 2;
    EXPECT_EQ(ThrownMessage([&] { worker.SetSharedDataAndWake(&shared, &other, sizeof(shared)); }),
              "Wake called on worker \"rx\", but it has not been started");
    EXPECT_EQ(shared, 2);
    ASSERT_TRUE(worker.TryLock(0));  // released in spite of the exception
    worker.Unlock();

    worker.Start();
    EXPECT_FALSE(worker.SetSharedDataAndWake(&shared, &other, sizeof(shared)));  // equal: no wake
    shared = 1;
    EXPECT_TRUE(worker.SetSharedDataAndWake(&shared, &other, sizeof(shared)));
    ASSERT_TRUE(obstacle.reached.WaitFor(20000));
    EXPECT_FALSE(worker.TryLock(10));
    EXPECT_EQ(ThrownMessage([&] { worker.Lock(); }), "Timed out waiting on mutex for worker \"rx\"");
    EXPECT_EQ(ThrownMessage([&] { WorkerLock lock(&worker); }),
              "Timed out waiting on mutex for worker \"rx\"");
    obstacle.released.Raise();
    {
        WorkerLock nothing(nullptr);
        WorkerLock lock(&worker);
        EXPECT_FALSE(worker.TryLock(0));
    }
    EXPECT_TRUE(worker.TryLock(0));
    worker.Unlock();
    EXPECT_TRUE(worker.WaitForSharedDataEqual(&shared, &other, sizeof(shared), 1, 0));
    worker.Stop();
    EXPECT_EQ(worker.works, 1u);
    EXPECT_FALSE(worker.WaitForSharedDataEqual(&shared, &other, sizeof(shared), 1, 1000));
    const int third = 3;
    EXPECT_FALSE(worker.SetSharedDataAndWake(&shared, &third, sizeof(shared)));
    EXPECT_EQ(shared, 2);
}

TEST(WorkerTest, WaitsForSharedDataToBecomeEqual) {
    ScriptedWorker worker("rx");
    int shared = 0;
    const int wanted = 5;
    worker.work = [&] { return shared == wanted || ++shared; };
    worker.Start();
    EXPECT_FALSE(worker.WaitForSharedDataEqual(&shared, &wanted, sizeof(shared), 1, 5));
    worker.SetPollInterval(1);
    worker.Wake();
    EXPECT_TRUE(worker.WaitForSharedDataEqual(&shared, &wanted, sizeof(shared), 1, 20000));
    worker.Stop();
}

TEST(WorkerTest, TurnsAwayWaitingThreadsAsSoonAsItFinishes) {
    ScriptedWorker worker("rx");
    PermanentCondition ending;
    PermanentCondition turnedAway;
    worker.initialize = [&] {
        ending.Raise();
        // Time to get into TryLock(); whether that succeeds does not matter to the outcome.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return false;
    };
    worker.finalize = [&] { return turnedAway.WaitFor(20000); };  // the lock is held meanwhile
    bool locked = true;
    std::thread waiting([&] {
        ending.WaitFor(20000);
        locked = worker.TryLock(30000);
        turnedAway.Raise();
    });
    worker.Start();
    EXPECT_TRUE(turnedAway.WaitFor(15000));
    waiting.join();
    EXPECT_FALSE(locked);
    worker.Stop();
}

TEST(WorkerTest, IsAbandonedWhenItDoesNotStopInTime) {
    struct Stuck {
        ScriptedWorker worker{"stuck"};
        Obstacle obstacle;
    };
    static auto& forGood = *new std::list<Stuck>;  // as long as an abandoned worker must live
    Stuck& stuck = forGood.emplace_back();
    ScriptedWorker& worker = stuck.worker;
    worker.work = [&stuck] { return stuck.obstacle.Block(); };
    worker.Start();
    worker.Wake();
    ASSERT_TRUE(stuck.obstacle.reached.WaitFor(20000));
    EXPECT_EQ(ThrownMessage([&] { worker.Stop(); }),
              "Timeout waiting for thread to exit on worker \"" + worker.GetName() + "\"");
    EXPECT_EQ(worker.GetStatus(), "abandoned");
    worker.Stop();
    stuck.obstacle.released.Raise();
    EXPECT_TRUE(Eventually([&] { return worker.finalizes == 1; }));
    EXPECT_EQ(worker.GetStatus(), "abandoned");
}

TEST(WorkerTest, WarnsWhenItIsDestroyedWithoutStop) {
    DebugCapture capture(DEBUG_ERR);
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    {
        ScriptedWorker worker("sleeping");
        worker.Start();
        worker.Wake();
        ASSERT_TRUE(Eventually([&] { return worker.works == 1; }));
        worker.Lock();
        worker.AddWaitableFileDescriptor(ends[0], Worker::WAIT_READ, "");
        worker.AddWaitableFileDescriptor(ends[1], 0, "sink");
        worker.Unlock();
    }
    EXPECT_EQ(capture.Lines(),
              (Lines{"WARNING: Worker \"sleeping\" is being destroyed without Stop having been called.",
                     "         If its unjoined thread ever exits, the application will crash.",
                     "WARNING: Worker \"sleeping\" is being destroyed with the following file descriptors",
                     "         still in its waitable set.  This is not a problem, but if the owner",
                     "         did not remove them, it may mean that it also forgot to close them.",
                     Format("          fd %d (no description)", ends[0]),
                     Format("          fd %d (sink)", ends[1])}));
    close(ends[0]);
    close(ends[1]);
}

TEST(WorkerTest, SurvivesManyLivesUnderLoad) {
    std::atomic<uint64_t> stops{0};
    const auto live = [&](const std::string& name) {
        for (int life = 0; life < 50; ++life) {
            ScriptedWorker worker(name);
            uint64_t shared = 0;
            worker.work = [&] { return ++shared != 0; };
            worker.Start();
            std::thread neighbour([&] {
                for (uint64_t i = 0; i < 5; ++i) {
                    worker.Wake();
                    const uint64_t value = i * 1000;
                    worker.SetSharedDataAndWake(&shared, &value, sizeof(shared));
                    const WorkerLock lock(&worker);
                    worker.IsCallerWorker();
                }
            });
            std::list<std::string> lines;
            Worker::GetAllWorkerSummary(lines);
            worker.GetStatistics(lines);
            if (life % 2 == 0)
                neighbour.join();
            worker.Stop();
            if (life % 2 != 0)
                neighbour.join();
            stops += worker.GetStatus() == "joined" && worker.finalizes == 1;
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(live, "life");
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(stops, 200u);
}

}  // namespace
}  // namespace quarn::test
