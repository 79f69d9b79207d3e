#include "support/Eventually.h"
#include "workers/OwnerLock.h"
#include "workers/ThreadId.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace quarn::test {
namespace {

using std::chrono::milliseconds;
using Outcome = OwnerLock::Outcome;

constexpr milliseconds kLong(20000);

TEST(OwnerLockTest, ExcludesUnderContention) {
    OwnerLock lock;
    uint64_t shared = 0;
    std::atomic<uint64_t> missed{0};
    const auto contend = [&](milliseconds patience) {
        for (int n = 0; n < 5000; ++n) {
            if (lock.Acquire(CurrentThreadId(), patience, false) != Outcome::LOCKED) {
                ++missed;
                continue;
            }
            ++shared;
            lock.Release(CurrentThreadId());
        }
    };
    std::vector<std::thread> threads;
    for (const milliseconds patience : {milliseconds(0), kLong, kLong, kLong})
        threads.emplace_back(contend, patience);
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
            lock.Acquire(CurrentThreadId(), kLong, false);
            running = true;
            std::this_thread::sleep_for(milliseconds(1));
            lock.Release(CurrentThreadId());
        }
    });
    EXPECT_TRUE(Eventually([&] { return running.load(); }));
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(lock.Acquire(CurrentThreadId(), milliseconds(5000), false), Outcome::LOCKED);
        lock.Release(CurrentThreadId());
    }
    stop = true;
    restless.join();
}

TEST(OwnerLockTest, TurnsAwayWaitersWhenClosedButNotTheOneThatInsists) {
    OwnerLock lock;
    const uint64_t self = CurrentThreadId();
    ASSERT_EQ(lock.Acquire(self, kLong, false), Outcome::LOCKED);
    EXPECT_EQ(lock.Acquire(self, milliseconds(5), false), Outcome::TIMED_OUT);  // not recursive
    std::atomic<int> turnedAway{0};
    std::atomic<bool> insistentHasIt{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(
            [&] { turnedAway += lock.Acquire(CurrentThreadId(), kLong, false) == Outcome::CLOSED; });
    threads.emplace_back([&] {
        insistentHasIt = lock.Acquire(CurrentThreadId(), kLong, true) == Outcome::LOCKED;
        lock.Release(self);  // somebody else's: nothing happens
        EXPECT_TRUE(lock.IsOwnedBy(CurrentThreadId()));
    });
    lock.Close();
    EXPECT_TRUE(Eventually([&] { return turnedAway == 3; }));
    EXPECT_FALSE(insistentHasIt);
    lock.Release(self);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(insistentHasIt);
    EXPECT_EQ(lock.Acquire(self, kLong, false), Outcome::CLOSED);  // left locked by a thread that has gone
}

}  // namespace
}  // namespace quarn::test
