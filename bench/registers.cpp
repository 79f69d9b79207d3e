// A register field read by name among 500 fields, from the program and as a console line, beside the bare read of its
// word. The registers are memory: what a real one adds is the time of its bus.

#include <quarn/Accessors.h>
#include <quarn/RegisterAccess.h>
#include <quarn/Text.h>

#include "ForwardingIO.h"
#include "PinnedMain.h"

#include <benchmark/benchmark.h>

#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr uint32_t kFields = 500;
constexpr uint64_t kBase = 0xA0000000;

/// The system's devices, with /dev/mem in memory.
class MemoryIO : public quarn::bench::ForwardingIO {
public:
    MemoryIO() : memory_(memfd_create("registers", MFD_CLOEXEC)) {
        if (memory_ < 0 || ftruncate(memory_, int64_t{1} << 33) != 0) {
            perror("no memory for registers");
            exit(EXIT_FAILURE);
        }
    }
    ~MemoryIO() override { close(memory_); }

    int32_t Open(const std::string& path, int32_t flags, uint32_t mode) override {
        return path == "/dev/mem" ? dup(memory_) : ForwardingIO::Open(path, flags, mode);
    }

private:
    const int memory_;
};

std::string Name(uint32_t number) {
    return quarn::Format("receiver.field%03u", number);
}

struct Board {
    Board() {
        for (uint32_t i = 0; i < kFields; ++i)
            registers.Configure("reg", {quarn::Format("0x%lX", kBase + 4 * i), "11:4", "rw", Name(i),
                                        quarn::Format("f%u", i)});
        accessors.Add(registers);
    }

    MemoryIO io;
    quarn::RegisterAccess registers{io};
    quarn::Accessors accessors;
};

void BareRead(benchmark::State& state) {
    quarn::DeviceIO& io = quarn::DeviceIO::System();
    uint32_t word = 1;
    for (auto _ : state)
        benchmark::DoNotOptimize(io.Read32(&word));
}

void GetByName(benchmark::State& state) {
    const Board board;
    std::vector<std::string> names;
    for (uint32_t i = 0; i < kFields; ++i)
        names.push_back(Name(i));
    size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(board.registers.Get(names[next]));
        next = (next + 7) % names.size();
    }
}

void SetByName(benchmark::State& state) {
    Board board;
    const std::string name = Name(kFields / 2);
    uint32_t value = 0;
    for (auto _ : state)
        board.registers.Set(name, ++value & 0xFF);
}

void ConsoleRead(benchmark::State& state) {
    Board board;
    const std::string line = "reg " + Name(kFields / 2);
    for (auto _ : state)
        benchmark::DoNotOptimize(board.accessors.Execute(line));
}

void ConsoleMatch(benchmark::State& state) {
    Board board;
    for (auto _ : state)
        benchmark::DoNotOptimize(board.accessors.Execute("reg *" + Name(kFields / 2)));
}

BENCHMARK(BareRead)->Name("registers/get/raw");
BENCHMARK(GetByName)->Name("registers/get/quarn");
BENCHMARK(SetByName)->Name("registers/set/quarn");
BENCHMARK(ConsoleRead)->Name("registers/console/quarn");
BENCHMARK(ConsoleMatch)->Name("registers/console-wildcard/quarn");

}  // namespace

QUARN_PINNED_BENCHMARK_MAIN()
