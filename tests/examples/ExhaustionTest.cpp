#include <quarn/quarn.h>

#include "common/ReceiverVariables.h"
#include "ctl/ConsoleClient.h"
#include "examples/Ask.h"
#include "support/CountDescriptors.h"
#include "support/DebugCapture.h"
#include "support/DescriptorLimit.h"
#include "support/Eventually.h"
#include "support/FileSizeLimit.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"
#include "unit/Unit.h"

#include <gtest/gtest.h>

#include <stdio.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

namespace unit {
namespace {

using quarn::test::CountDescriptors;
using quarn::test::DebugCapture;
using quarn::test::DescriptorLimit;
using quarn::test::Eventually;
using quarn::test::ThrownMessage;

const quarn::IPAddress kLoopback(std::string("127.0.0.1"));
constexpr uint32_t kAnswerMs = 20000;

struct IdleWorker final : quarn::Worker {
    IdleWorker() : Worker(nullptr, "idle") {}
    ~IdleWorker() { Stop(); }
};

// The sanitizer of addresses looks at memory through a pipe, and takes what it cannot look at for a fault.
#ifndef __SANITIZE_ADDRESS__

// A server that cannot accept says so, waits without working, and serves again once it can.
template <class IsServed>
void ExpectCalmWithoutDescriptors(DebugCapture& debug, uint16_t port, const std::string& complaint,
                                  IsServed isServed) {
    const size_t before = CountDescriptors();
    {
        const DescriptorLimit limit(1);  // for the client's side
        const quarn::TCPConnection knock("knock", kLoopback, port);
        ASSERT_TRUE(Eventually([&] { return debug.CountContaining(complaint) > 0; })) << complaint;
        const clock_t busy = clock();  // as ticks, microseconds
        const uint64_t start = quarn::Tick();
        const size_t complaints = debug.CountContaining(complaint);
        ASSERT_TRUE(Eventually([&] { return debug.CountContaining(complaint) > complaints; }));
        EXPECT_LT(uint64_t(clock() - busy), (quarn::Tick() - start) / 2) << "it spins";
    }
    EXPECT_TRUE(isServed());
    EXPECT_TRUE(Eventually([&] { return CountDescriptors() == before; }));
}

TEST(ExhaustionTest, ServersWithoutDescriptorsWaitAndComeBack) {
    DebugCapture debug;
    UnitOptions options;
    options.listen = ParseListener("0");
    Unit unit(nullptr, options, quarn::DeviceIO::System(), [] {});
    unit.Start();
    ExpectCalmWithoutDescriptors(debug, unit.GetPort(), "Accepting nobody for a while: ", [&] {
        UnitClient client({kLoopback, unit.GetPort()}, kAnswerMs);
        return Ask(client, "rf.channel") == "1";
    });
    unit.Stop();

    quarn::Accessors accessors;
    const quarn::ConsoleServer console(nullptr, "", 0, accessors);
    ExpectCalmWithoutDescriptors(debug, console.GetPort(), "ConsoleServer: ", [&] {
        return ConsoleClient({kLoopback, console.GetPort()}, kAnswerMs).Execute("", kAnswerMs).empty();
    });
}

TEST(ExhaustionTest, WhatCannotBeHadIsSaidAndLeavesNothingBehind) {
    DebugCapture debug;
    const size_t before = CountDescriptors();
    {
        IdleWorker worker;
        const std::pair<rlim_t, const char*> refused[] = {{0, "event file descriptor"},
                                                          {1, "epoll instance"}};
        for (const auto& [free, what] : refused) {
            const DescriptorLimit limit(free);
            EXPECT_EQ(ThrownMessage([&] { worker.Start(); }),
                      std::string("Error creating ") + what + " for worker \"idle\": Too many open files");
        }
        worker.Start();
    }
    {
        const DescriptorLimit limit(2);  // for the worker, and none for its socket
        const quarn::MicrosecondClockSoftware clock;
        const quarn::SyncedClockServer server(nullptr, kLoopback, 0, clock);
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
        std::string message = "could not lower the limit";
        if ((getuid() != 0 || setuid(65534) == 0) && setrlimit(RLIMIT_NPROC, &none) == 0) {
            IdleWorker worker;
            message = ThrownMessage([&] { worker.Start(); });
        }
        fprintf(stderr, "<%s>", message.c_str());
        _exit(0);
    };
    EXPECT_EXIT(startWorker(), testing::ExitedWithCode(0),
                "<Error creating thread for worker \"idle\": Resource temporarily unavailable>");
}

TEST(ExhaustionTest, AFullDiskCostsTheSettingsNotTheUnit) {
    DebugCapture errors(quarn::DEBUG_ERR);
    const quarn::test::TempDirectory folder;
    UnitOptions options;
    options.listen = ParseListener("0");
    options.state.devices = {folder.File("settings")};
    options.state.intervalMs = 0;
    Unit unit(nullptr, options, quarn::DeviceIO::System(), [] {});
    unit.Start();
    UnitClient client({kLoopback, unit.GetPort()}, kAnswerMs);
    const auto nameBecomes = [&](const std::string& name) {
        Set(client, "unit.name", name);
        return Ask(client, "unit.name") == name;
    };
    {
        const quarn::test::FileSizeLimit fullDisk(4096);
        EXPECT_TRUE(nameBecomes(std::string(5000, 'x')));
        EXPECT_TRUE(
            Eventually([&] { return errors.CountContaining("could not write block 0: only 4096 of ") > 0; }));
    }
    EXPECT_TRUE(nameBecomes("short again"));
    unit.Stop();
    Unit again(nullptr, options, quarn::DeviceIO::System(), [] {});
    EXPECT_EQ(again.Variables().GetReference(UNIT_NAME)->ToString(), "short again");
}

}  // namespace
}  // namespace unit
