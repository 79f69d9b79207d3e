#include "workers/OwnerLock.h"
#include "workers/ScriptedWorker.h"
#include "workers/ThreadId.h"

namespace quarn::test {
namespace {

using Outcome = OwnerLock::Outcome;

// Of the calling thread, which waits long unless told otherwise.
Outcome Acquire(OwnerLock& lock, bool insist = false, int milliseconds = 20000) {
    return lock.Acquire(CurrentThreadId(), std::chrono::milliseconds(milliseconds), insist);
}

TEST(OwnerLockTest, ExcludesUnderContention) {
    OwnerLock lock;
    uint64_t shared = 0;
    std::atomic<uint64_t> missed{0};
    std::vector<std::jthread> threads;
    for (const int patience : {0, 20000, 20000, 20000})
        threads.emplace_back([&, patience] {
            for (int n = 0; n < 5000; ++n) {
                if (Acquire(lock, false, patience) != Outcome::LOCKED) {
                    ++missed;
                    continue;
                }
                ++shared;
                lock.Release(CurrentThreadId());
            }
        });
    threads.clear();
    EXPECT_EQ(shared + missed, 20000u);
    EXPECT_EQ(Acquire(lock, false, 0), Outcome::LOCKED);
}

TEST(OwnerLockTest, LetsOthersInBetweenTurnsOfARestlessOwner) {
    OwnerLock lock;
    PermanentCondition running, stop;
    std::jthread restless([&] {
        while (!stop.IsRaised()) {
            Acquire(lock);
            running.Raise();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            lock.Release(CurrentThreadId());
        }
    });
    EXPECT_TRUE(running.WaitFor(20000));
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(Acquire(lock, false, 5000), Outcome::LOCKED);
        lock.Release(CurrentThreadId());
    }
    stop.Raise();
}

TEST(OwnerLockTest, TurnsAwayWaitersWhenClosedButNotTheOneThatInsists) {
    OwnerLock lock;
    const uint64_t self = CurrentThreadId();
    ASSERT_EQ(Acquire(lock), Outcome::LOCKED);
    std::vector<std::jthread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] { EXPECT_EQ(Acquire(lock), Outcome::CLOSED); });
    std::jthread insistent([&] {
        EXPECT_EQ(Acquire(lock, true), Outcome::LOCKED);
        lock.Release(self);  // somebody else's: nothing happens
    });
    lock.Close();
    waiters.clear();
    EXPECT_TRUE(lock.IsOwnedBy(self));
    lock.Release(self);
    insistent.join();
    EXPECT_EQ(Acquire(lock), Outcome::CLOSED);  // left locked by a thread that has gone
}

}  // namespace
}  // namespace quarn::test
