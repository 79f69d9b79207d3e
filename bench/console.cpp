// The console's registry: a configuration file of 10 000 lines, and lines executed with 20 accessors behind it.

#include <quarn/Accessor.h>
#include <quarn/Accessors.h>
#include <quarn/Text.h>

#include "PinnedMain.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int ACCESSORS = 20;
constexpr int LINES = 10000;

class Device final : public quarn::Accessor {
public:
    explicit Device(int number) : name_(quarn::Format("device%d", number)) {}

    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override {
        return {withDescriptions ? name_ + ": Lists, reads and writes the registers of a device" : name_};
    }
    std::set<std::string> GetConfigurationSections() const override { return {name_}; }
    void Configure(const std::string&, const std::vector<std::string>& words) override {
        wordCount += words.size();
    }
    std::list<std::string> Execute(const std::string&, const std::vector<std::string>&) override {
        return {"0x00000000"};
    }

    size_t wordCount = 0;

private:
    const std::string name_;
};

struct Registry {
    Registry() {
        for (int i = 0; i < ACCESSORS; ++i) {
            devices.push_back(std::make_unique<Device>(i));
            accessors.Add(*devices.back());
        }
    }

    std::vector<std::unique_ptr<Device>> devices;
    quarn::Accessors accessors;
};

void Execute(benchmark::State& state, const std::string& line) {
    Registry registry;
    for (auto _ : state)
        benchmark::DoNotOptimize(registry.accessors.Execute(line));
}
BENCHMARK_CAPTURE(Execute, help, "help")->Name("console/help/quarn");
BENCHMARK_CAPTURE(Execute, command, "device7 read 0x40")->Name("console/command/quarn");

// A field definition a line, a section for every 500 of them. Each reading leaves a descriptor open.
void Configure(benchmark::State& state) {
    char path[] = "/tmp/quarn-bench-XXXXXX";
    FILE* const file = fdopen(mkostemp(path, O_CLOEXEC), "w");
    if (!file)
        abort();
    for (int i = 0; i < LINES; ++i)
        if (i % (LINES / ACCESSORS) == 0)
            fprintf(file, "[device%d]\n", i / (LINES / ACCESSORS));
        else
            fprintf(file, "field  channel%d.gain  0x%08X  15-8  \"gain of a channel\"\n", i, i * 4);
    fclose(file);
    Registry registry;
    const int firstFree = dup(STDOUT_FILENO);
    for (auto _ : state) {
        registry.accessors.Configure(path);
        state.PauseTiming();
        closefrom(firstFree + 1);
        state.ResumeTiming();
    }
    if (registry.devices[0]->wordCount == 0)
        state.SkipWithError("nothing was configured");
    close(firstFree);
    unlink(path);
}
BENCHMARK(Configure)->Name("console/configure/quarn")->Unit(benchmark::kMillisecond);

}  // namespace

QUARN_PINNED_BENCHMARK_MAIN()
