#include "support/AllocationWatch.h"
#include "support/Eventually.h"
#include "workers/ScriptedWorker.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace quarn::test {
namespace {

TEST(WorkerAllocationTest, RunsCyclesWithoutAllocating) {
    ScriptedWorker worker("steady");
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    worker.initialize = [&] {
        worker.AddWaitableFileDescriptor(ends[1], Worker::WAIT_WRITE, "pipe");
        return true;
    };
    uint64_t before = 0;
    uint64_t after = 1;
    worker.work = [&] {
        (worker.works == 10 ? before : after) = AllocationWatch::CountOfThread();
        return worker.works < 1000;
    };
    worker.Start();
    EXPECT_TRUE(Eventually([&] { return worker.finalizes == 1; }));
    worker.Stop();
    EXPECT_EQ(after, before);
    close(ends[0]);
    close(ends[1]);
}

}  // namespace
}  // namespace quarn::test
