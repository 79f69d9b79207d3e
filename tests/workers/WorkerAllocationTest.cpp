#include "support/Eventually.h"
#include "workers/ScriptedWorker.h"

#include <gtest/gtest.h>

#include <stdlib.h>
#include <unistd.h>

#include <new>

namespace {
thread_local uint64_t allocations = 0;
}

[[gnu::noinline]] void* operator new(size_t size) {
    ++allocations;
    if (void* memory = malloc(size))
        return memory;
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
    free(memory);
}

namespace quarn {
namespace {

TEST(WorkerAllocationTest, RunsCyclesWithoutAllocating) {
    test::ScriptedWorker worker("steady");
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    worker.initialize = [&] {
        worker.AddWaitableFileDescriptor(ends[1], Worker::WAIT_WRITE, "pipe");
        return true;
    };
    uint64_t before = 0;
    uint64_t after = 1;
    worker.work = [&] {
        (worker.works == 10 ? before : after) = allocations;
        return worker.works < 1000;
    };
    worker.Start();
    EXPECT_TRUE(test::Eventually([&] { return worker.finalizes == 1; }));
    worker.Stop();
    EXPECT_EQ(after, before);
    close(ends[0]);
    close(ends[1]);
}

}  // namespace
}  // namespace quarn
