#include "devices/DeviceTest.h"
#include "workers/ScriptedWorker.h"

namespace quarn::test {

TEST(VariableAccessTest, TakesTheOwnersLockAndWakesIt) {
    VariableDictionary dictionary("board");
    dictionary.Add(1, "rf.gain", VariantType::INT16);
    int16_t gain = 5;
    VariableIndex index("board", dictionary);
    index.Add(1, &gain, 0x10);
    ScriptedWorker owner("owner");
    VariableAccess access(index, &owner);
    std::atomic<int> seen{0};
    owner.work = [&] {
        seen = gain;
        return true;
    };
    owner.Start();
    EXPECT_EQ(access.Execute("var", {"set", "rf.gain", "3"}), Response{"rf.gain = 3"});
    EXPECT_TRUE(Eventually([&] { return seen == 3; }));
    ASSERT_TRUE(owner.TryLock(10000));  // given back
    owner.Unlock();
    owner.Stop();
    EXPECT_EQ(ThrownMessage([&] { access.Execute("var", {"list"}); }), "VAR: worker \"owner\" has ended");
}

}  // namespace quarn::test
