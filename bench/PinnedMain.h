#pragma once

// A main for benchmarks that compare on one core.

#include <benchmark/benchmark.h>

#include <sched.h>
#include <stdio.h>

namespace quarn::bench {

inline int PinnedMain(int argc, char** argv) {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(sched_getcpu(), &cores);
    if (sched_setaffinity(0, sizeof cores, &cores) != 0)
        perror("running without a fixed core");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

}  // namespace quarn::bench

#define QUARN_PINNED_BENCHMARK_MAIN()                \
    int main(int argc, char** argv) {                \
        return quarn::bench::PinnedMain(argc, argv); \
    }
