#include "common/ReceiverVariables.h"
#include "examples/ExampleTest.h"
#include "support/Resources.h"

#include <time.h>

namespace unit {
namespace {

using quarn::test::CountDescriptors;
using quarn::test::DescriptorLimit;

struct IdleWorker final : quarn::Worker {
    IdleWorker() : Worker(nullptr, "idle") {}
    ~IdleWorker() { Stop(); }
};

// The sanitizer of addresses looks at memory through a pipe, and takes what it cannot look at for a fault.
#ifndef __SANITIZE_ADDRESS__

// A server that cannot accept says so, waits without working, and serves again once it can.
TEST(ExhaustionTest, ServersWithoutDescriptorsWaitAndComeBack) {
    DebugCapture debug;
    RunningUnit running;
    quarn::Accessors accessors;
    const quarn::ConsoleServer console(nullptr, "", 0, accessors);
    const std::pair<uint16_t, const char*> servers[] = {
        {running.unit.GetPort(), "Accepting nobody for a while: "}, {console.GetPort(), "ConsoleServer: "}};
    for (const auto& [port, complaint] : servers) {
        const auto complaints = [&, text = complaint] { return debug.CountContaining(text); };
        const size_t before = CountDescriptors();
        {
            std::optional<DescriptorLimit> limit(1);
            const quarn::test::Peer client(port);
            ASSERT_TRUE(Eventually([&] { return complaints() > 0; }));
            const size_t first = complaints();
            const clock_t busy = clock();  // as ticks, microseconds
            const uint64_t start = quarn::Tick();
            ASSERT_TRUE(Eventually([&] { return complaints() > first; }));
            EXPECT_LT(uint64_t(clock() - busy), (quarn::Tick() - start) / 2) << "it spins";
            limit.reset();
            EXPECT_TRUE(Eventually([&] { return CountDescriptors() == before + 2; })) << "nobody accepted";
        }
        EXPECT_TRUE(Eventually([&] { return CountDescriptors() == before; }));
    }
}

TEST(ExhaustionTest, WhatCannotBeHadIsSaidAndLeavesNothingBehind) {
    DebugCapture debug;
    const size_t before = CountDescriptors();
    {
        IdleWorker worker;
        const std::tuple<rlim_t, std::string, std::string> refused[] = {
            {0, "event file descriptor",
             "SPI: Could not open SPI node device /dev/null: Too many open files"},
            {1, "epoll instance", "SPI get mode failed on null: "}};  // it is open, and no SPI node
        for (const auto& [free, what, opening] : refused) {
            const DescriptorLimit limit(free);
            EXPECT_EQ(ThrownMessage([&] { worker.Start(); }),
                      "Error creating " + what + " for worker \"idle\": Too many open files");
            const auto open = [] { quarn::SPIAccess().Configure("spi", {"null", "x"}); };
            EXPECT_THAT(ThrownMessage(open), testing::StartsWith(opening));
        }
        worker.Start();
        const DescriptorLimit limit(2);  // for the worker, and none for its socket
        const quarn::MicrosecondClockSoftware clock;
        const quarn::SyncedClockServer server(nullptr, LOOPBACK, 0, clock);
        EXPECT_EQ(server.GetPort(), 0);
        EXPECT_EQ(debug.CountContaining("Failed to create socket: Too many open files"), 1U);
    }
    EXPECT_EQ(CountDescriptors(), before);
}

#endif

// In a process of its own, since it cannot be undone, and as nobody, since root is never refused a thread.
TEST(ExhaustionTest, ARefusedThreadIsAFailureOfStart) {
    const auto startWorker = [] {
        const rlimit none{0, 0};
        const bool isSomebody = getuid() == 0 && setuid(65534) != 0;
        const bool isLimited = !isSomebody && setrlimit(RLIMIT_NPROC, &none) == 0;
        fprintf(stderr, "%d<%s>", isLimited, ThrownMessage([] { IdleWorker().Start(); }).c_str());
        _exit(0);
    };
    EXPECT_EXIT(startWorker(), testing::ExitedWithCode(0),
                "1<Error creating thread for worker \"idle\": Resource temporarily unavailable>");
}

TEST(ExhaustionTest, AFullDiskCostsTheSettingsNotTheUnit) {
    DebugCapture errors(quarn::DEBUG_ERR);
    const TempDirectory folder;
    const UnitOptions options = With([&](auto& all) { all.state.devices = {folder.File("settings")}; });
    {
        const RunningUnit running(options);
        UnitClient client(running.Address(), kAnswerMs);
        {
            const quarn::test::FileSizeLimit fullDisk(4096);
            Set(client, "unit.name", std::string(5000, 'x'));
            const char* const complaint = "could not write block 0: only 4096 of ";
            EXPECT_TRUE(Eventually([&] { return errors.CountContaining(complaint) > 0; }));
            EXPECT_EQ(Ask(client, "unit.name").size(), 5000U);
        }
        Set(client, "unit.name", "short again");
        EXPECT_EQ(Ask(client, "unit.name"), "short again");
    }
    Unit again(nullptr, options, quarn::DeviceIO::System(), [] {});
    EXPECT_EQ(again.Variables().GetReference(UNIT_NAME)->ToString(), "short again");
}

}  // namespace
}  // namespace unit
