#include "workers/ScriptedWorker.h"

namespace quarn::test {

TEST(PermanentConditionTest, IsRaisedOnceForEveryWaiter) {
    PermanentCondition condition;
    const uint64_t start = Tick();
    EXPECT_FALSE(condition.WaitFor(30));
    EXPECT_GE(Tick() - start, 30000u);
    std::atomic<int> waiting{0};
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            ++waiting;
            EXPECT_TRUE(condition.WaitFor(20000));
        });
    EXPECT_TRUE(Eventually([&] { return waiting == 4; }));
    EXPECT_FALSE(condition.IsRaised());
    EXPECT_TRUE(condition.Raise());
    EXPECT_FALSE(condition.Raise());
    threads.clear();
    EXPECT_LT(Tick() - start, 15000000u);  // all were woken
    EXPECT_TRUE(condition.WaitFor(0));
}

TEST(PermanentConditionTest, MayBeDestroyedAsSoonAsItIsSeenRaised) {
    for (int i = 0; i < 300; ++i) {
        auto condition = std::make_unique<PermanentCondition>();
        const std::jthread raiser([raw = condition.get()] { raw->Raise(); });
        while (i % 2 == 0 ? !condition->WaitFor(20000) : !condition->IsRaised())
            std::this_thread::yield();
        condition.reset();
    }
}

}  // namespace quarn::test
