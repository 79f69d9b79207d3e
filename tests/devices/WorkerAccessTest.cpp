#include "devices/DeviceTest.h"
#include "workers/ScriptedWorker.h"

namespace quarn::test {

using testing::Not;

TEST(WorkerAccessTest, ShowsAndClears) {
    ScriptedWorker first("rx-a"), other("tx");
    first.Start();
    first.Wake();
    WorkerAccess access;
    Accessors accessors;
    accessors.Add(access);
    EXPECT_TRUE(Eventually([&] {  // a run counts when it is over
        return accessors.Execute("mon stats rx-a").front() == "Worker rx-a: running, 1 work calls";
    }));
    EXPECT_THAT(accessors.Execute("mon summary"), Contains(StartsWith("rx-a  running      1")));
    EXPECT_THAT(accessors.Execute("mon stats rx*"), Not(Contains(StartsWith("Worker tx"))));
    EXPECT_THAT(accessors.Execute("mon stats"), Contains(StartsWith("Worker tx")));
    EXPECT_THAT(accessors.Execute("mon clear"), ElementsAre("\x04"));
    EXPECT_EQ(accessors.Execute("mon stats rx-a").front(), "Worker rx-a: running, 0 work calls");
    EXPECT_THAT(accessors.Execute("mon stats RX*"), ElementsAre("MON: no worker matches \"RX*\"", "\x04"));
    first.Stop();
}

}  // namespace quarn::test
