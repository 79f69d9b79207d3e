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
    std::vector<std::thread> threads;
    for (const milliseconds patience : {milliseconds(0), kLong, kLong, kLong})
        threads.emplace_back([&, patience] {
            for (int n = 0; n < 5000; ++n) {
                const bool locked = lock.Acquire(CurrentThreadId(), patience, false) == Outcome::LOCKED;
                if (!locked) {
                    ++missed;
                    continue;
                }
                ++shared;
                lock.Release(CurrentThreadId());
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(shared + missed, 20000u);
    EXPECT_EQ(lock.Acquire(CurrentThreadId(), milliseconds(0), false), Outcome::LOCKED);
}

TEST(OwnerLockTest, LetsOthersInBetweenTurnsOfARestlessOwner) {
    OwnerLock lock;
    std::atomic<bool> running{false}, stop{false};
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
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(
            [&] { EXPECT_EQ(lock.Acquire(CurrentThreadId(), kLong, false), Outcome::CLOSED); });
    std::thread insistent([&] {
        EXPECT_EQ(lock.Acquire(CurrentThreadId(), kLong, true), Outcome::LOCKED);
        lock.Release(self);  // somebody else's: nothing happens
    });
    lock.Close();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(lock.IsOwnedBy(self));
    lock.Release(self);
    insistent.join();
    EXPECT_EQ(lock.Acquire(self, kLong, false), Outcome::CLOSED);  // left locked by a thread that has gone
}

}  // namespace
}  // namespace quarn::test
