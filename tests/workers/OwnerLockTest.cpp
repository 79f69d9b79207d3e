#include "support/Eventually.h"
#include "workers/OwnerLock.h"
#include "workers/ThreadId.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace quarn {
namespace {

using std::chrono::milliseconds;
using Outcome = OwnerLock::Outcome;

constexpr milliseconds LONG(20000);

TEST(OwnerLockTest, ExcludesUnderContention) {
    OwnerLock lock;
    uint64_t shared = 0;
    uint64_t missed = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, impatient = i == 0] {
            uint64_t misses = 0;
            for (int n = 0; n < 5000; ++n) {
                if (lock.Acquire(CurrentThreadId(), impatient ? milliseconds(0) : LONG, false) ==
                    Outcome::LOCKED) {
                    ++shared;
                    lock.Release(CurrentThreadId());
                } else {
                    ++misses;
                }
            }
            if (impatient)
                missed = misses;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(shared + missed, 20000u);
    EXPECT_EQ(lock.Acquire(CurrentThreadId(), milliseconds(0), false), Outcome::LOCKED);
}

TEST(OwnerLockTest, LetsOthersInBetweenTurnsOfARestlessOwner) {
    OwnerLock lock;
    std::atomic<bool> running{false};
    std::atomic<bool> stop{false};
    std::thread restless([&] {
        while (!stop) {
            lock.Acquire(CurrentThreadId(), LONG, false);
            running = true;
            std::this_thread::sleep_for(milliseconds(1));
            lock.Release(CurrentThreadId());
        }
    });
    EXPECT_TRUE(test::Eventually([&] { return running.load(); }));
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(lock.Acquire(CurrentThreadId(), milliseconds(1000), false), Outcome::LOCKED);
        lock.Release(CurrentThreadId());
    }
    stop = true;
    restless.join();
}

TEST(OwnerLockTest, TurnsAwayWaitersWhenClosedButNotTheOneThatInsists) {
    OwnerLock lock;
    const uint64_t self = CurrentThreadId();
    ASSERT_EQ(lock.Acquire(self, LONG, false), Outcome::LOCKED);
    EXPECT_EQ(lock.Acquire(self, milliseconds(5), false), Outcome::TIMED_OUT);  // not recursive
    std::atomic<int> turnedAway{0};
    std::atomic<bool> insistentHasIt{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(
            [&] { turnedAway += lock.Acquire(CurrentThreadId(), LONG, false) == Outcome::CLOSED; });
    threads.emplace_back([&] {
        insistentHasIt = lock.Acquire(CurrentThreadId(), LONG, true) == Outcome::LOCKED;
        lock.Release(self);  // somebody else's: nothing happens
        EXPECT_TRUE(lock.IsOwnedBy(CurrentThreadId()));
    });
    lock.Close();
    EXPECT_TRUE(test::Eventually([&] { return turnedAway == 3; }));
    EXPECT_FALSE(insistentHasIt);
    lock.Release(self);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(insistentHasIt);
    EXPECT_EQ(lock.Acquire(self, LONG, false), Outcome::CLOSED);  // left locked by a thread that has gone
}

}  // namespace
}  // namespace quarn
