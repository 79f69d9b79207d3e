#include <quarn/LocalTime.h>
#include <quarn/PermanentCondition.h>

#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace quarn::test {
namespace {

TEST(PermanentConditionTest, IsRaisedOnceForEveryWaiter) {
    PermanentCondition condition;
    EXPECT_FALSE(condition.IsRaised());
    const uint64_t start = Tick();
    EXPECT_FALSE(condition.WaitFor(30));
    EXPECT_GE(Tick() - start, 30000u);
    std::atomic<int> changes{0};
    std::atomic<int> seen{0};
    std::vector<std::thread> threads;
    std::atomic<int> waiting{0};
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            ++waiting;
            const uint64_t from = Tick();
            seen +=
                condition.WaitFor(20000) && Tick() - from < 15000000;  // woken, not at the end of its time
        });
    EXPECT_TRUE(Eventually([&] { return waiting == 4; }));
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] { changes += condition.Raise(); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(seen, 4);
    EXPECT_TRUE(condition.IsRaised());
    EXPECT_TRUE(condition.WaitFor(0));
}

TEST(PermanentConditionTest, MayBeDestroyedAsSoonAsItIsSeenRaised) {
    for (int i = 0; i < 300; ++i) {
        auto condition = std::make_unique<PermanentCondition>();
        std::thread raiser([raw = condition.get()] { raw->Raise(); });
        if (i % 2 == 0) {
            EXPECT_TRUE(condition->WaitFor(20000));
        } else {
            while (!condition->IsRaised())
                std::this_thread::yield();
        }
        condition.reset();
        raiser.join();
    }
}

}  // namespace
}  // namespace quarn::test
