#include <quarn/quarn.h>

#include "common/ReceiverVariables.h"
#include "ctl/ConsoleClient.h"
#include "ctl/UnitClient.h"
#include "support/CountDescriptors.h"
#include "support/DebugCapture.h"
#include "support/DescriptorLimit.h"
#include "support/Eventually.h"
#include "support/FileSizeLimit.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"
#include "unit/Unit.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
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

uint64_t ProcessorTimeUs() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return uint64_t(time.tv_sec) * 1000000 + uint64_t(time.tv_nsec) / 1000;
}

/// A connection that is being made: the system completes it whether or not the server accepts it.
struct Knock {
    explicit Knock(uint16_t port) : connection("knock", kLoopback, port) {}
    quarn::TCPConnection connection;
};

// A server that cannot accept says so, waits without working, and serves again once it can.
template <class IsServed>
void ExpectCalmWithoutDescriptors(DebugCapture& debug, uint16_t port, const std::string& complaint,
                                  IsServed isServed) {
    const size_t before = CountDescriptors();
    {
        const DescriptorLimit limit(1);  // for the client's side
        const Knock knock(port);
        ASSERT_TRUE(Eventually([&] { return debug.CountContaining(complaint) > 0; })) << complaint;
        const uint64_t busy = ProcessorTimeUs();
        const uint64_t start = quarn::Tick();
        const size_t complaints = debug.CountContaining(complaint);
        ASSERT_TRUE(Eventually([&] { return debug.CountContaining(complaint) > complaints; }));
        EXPECT_LT(ProcessorTimeUs() - busy, (quarn::Tick() - start) / 2) << "it spins";
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
        client.Say(QUERY, {quarn::VariantValue("rf.channel")});
        return client.Receive(kAnswerMs) != nullptr;
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
    for (const rlim_t free : {0, 1}) {
        const DescriptorLimit limit(free);
        IdleWorker worker;
        EXPECT_EQ(ThrownMessage([&] { worker.Start(); }),
                  free == 0 ? "Error creating event file descriptor for worker \"idle\": Too many open files"
                            : "Error creating epoll instance for worker \"idle\": Too many open files");
    }
    {
        const DescriptorLimit limit(2);  // for the worker, and none for its socket
        const quarn::MicrosecondClockSoftware clock;
        const quarn::SyncedClockServer server(nullptr, kLoopback, 0, clock);
        EXPECT_EQ(server.GetPort(), 0);
        EXPECT_EQ(debug.CountContaining("Failed to create socket: Too many open files"), 1U);
    }
    IdleWorker().Start();
    EXPECT_EQ(CountDescriptors(), before);
}

#endif

// In a process of its own, since it cannot be undone, and as nobody, since root is never refused a thread.
TEST(ExhaustionTest, ARefusedThreadIsAFailureOfStart) {
    int answer[2];
    ASSERT_EQ(pipe(answer), 0);
    const pid_t child = fork();
    if (child == 0) {
        const rlimit none{0, 0};
        std::string message = "could not lower the limit";
        if ((getuid() != 0 || setuid(65534) == 0) && setrlimit(RLIMIT_NPROC, &none) == 0) {
            IdleWorker worker;
            message = ThrownMessage([&] { worker.Start(); });
        }
        const ssize_t written = write(answer[1], message.data(), message.size());
        _exit(written < 0);
    }
    close(answer[1]);
    std::string message(200, '\0');
    message.resize(size_t(std::max(ssize_t{0}, read(answer[0], message.data(), message.size()))));
    close(answer[0]);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(message, "Error creating thread for worker \"idle\": Resource temporarily unavailable");
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
        client.Set(client.Dictionary().Find("unit.name"), name);
        client.Say(QUERY, {quarn::VariantValue("unit.name")});
        const std::string now = client.Receive(kAnswerMs)->Word(2).As<std::string>();
        client.Receive(kAnswerMs);
        return now == name;
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
