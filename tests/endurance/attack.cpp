/// A unit under attack: what its honest peers and its console notice, and what it holds meanwhile and afterwards.
///
/// usage: attack QUARN-UNIT SECONDS [CONNECTIONS]

#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>

#include "ctl/ConsoleClient.h"
#include "endurance/Attackers.h"
#include "endurance/HonestPeer.h"
#include "endurance/UnitProcess.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <memory>
#include <optional>

namespace endurance {
namespace {

constexpr size_t kSparePeers = 64;  // for the honest ones, too
constexpr size_t kConsoleClients = 1;
constexpr uint32_t kPeerPauseMs = 10;
constexpr uint32_t kConsoleMs = 30000;
constexpr uint32_t kConsolePauseUs = 100000;
constexpr uint32_t kCalmMs = 30000;
// What may be held per hostile connection, at most: a backlog each way, and the garbage that is being looked through.
constexpr size_t kAllowedKiBPerConnection = 512;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kAllowedKeptKiB = 1 << 20;  // the sanitizer's own memory
#else
constexpr size_t kAllowedKeptKiB = 2048;  // that the allocator does not give back
#endif

bool failed = false;

void Fail(const std::string& reason) {
    printf("FAILED: %s\n", reason.c_str());
    failed = true;
}

struct Seen {
    Latencies messages;
    Latencies console;
};

/// The work of four honest peers and a console client for so long.
Seen WorkHonestly(const UnitProcess& unit, uint32_t seconds) {
    Seen seen;
    std::vector<std::unique_ptr<HonestPeer>> peers;
    for (const char* key : {"rf.squelch-level", "rf.frequency-khz", "audio.delay-samples", "audio.gain-db"})
        peers.push_back(std::make_unique<HonestPeer>(unit.Where("listens"), key, kPeerPauseMs));
    unit::ConsoleClient console(unit.Where("has its console"), kConsoleMs);
    const uint64_t start = quarn::Tick();
    while (quarn::MillisecondsSince(start) < uint64_t{seconds} * 1000) {
        const uint64_t asked = quarn::Tick();
        if (console.Execute("var show rf.channel", kConsoleMs) != std::list<std::string>{"rf.channel = 1"})
            Fail("the console gave a wrong answer");
        seen.console.Add(quarn::Tick() - asked);
        usleep(kConsolePauseUs);
    }
    for (const auto& peer : peers) {
        const std::string reason = peer->End();
        if (!reason.empty())
            Fail(reason);
        seen.messages.Add(peer->Times());
    }
    return seen;
}

void Report(const char* when, Seen seen) {
    printf("%s: messages %s; console %s\n", when, seen.messages.ToString().c_str(),
           seen.console.ToString().c_str());
}

/// Waits until the unit holds the descriptors, and at most so much memory, which it gives back once a second.
bool IsBackTo(const UnitProcess& unit, size_t descriptors, size_t residentKiB) {
    const uint64_t start = quarn::Tick();
    for (;;) {
        const Footprint now = unit.Measure();
        if (now.descriptors == descriptors && now.residentKiB <= residentKiB)
            return true;
        if (quarn::MillisecondsSince(start) > kCalmMs)
            return false;
        usleep(50000);
    }
}

void Run(const std::string& program, uint32_t seconds, size_t connections) {
    UnitProcess unit(program, {"--listen", "0", "--console", "0", "--max-peers",
                               std::to_string(connections + kSparePeers), "--console-mask", "0x0"});
    const size_t atRest = unit.Measure().descriptors;
    Report("without attack", WorkHonestly(unit, std::max(seconds / 4, 1U)));
    if (!IsBackTo(unit, atRest, SIZE_MAX))
        Fail("honest peers left descriptors behind");
    const Footprint before = unit.Measure();
    printf("before: %s\n", before.ToString().c_str());
    Footprint during;
    {
        const Attackers attackers(unit.Where("listens"), connections);
        Report("under attack", WorkHonestly(unit, seconds));
        during = unit.Measure();
        printf("the attack: %zu connections at a time, %lu in all, %lu MB sent\n", connections,
               attackers.GetTotals().connections.load(), attackers.GetTotals().bytesSent.load() / 1000000);
    }
    printf("during: %s\n", during.ToString().c_str());
    // A connection that was closed and made again counts twice until the unit has noticed.
    if (during.descriptors > before.descriptors + connections + kSparePeers + kConsoleClients)
        Fail("descriptors were not bounded");
    if (during.peakKiB > before.peakKiB + connections * kAllowedKiBPerConnection + kAllowedKeptKiB)
        Fail("memory was not bounded");
    if (!IsBackTo(unit, before.descriptors, before.residentKiB + kAllowedKeptKiB))
        Fail("descriptors or memory did not go back to where they were: " + unit.Measure().ToString());
    printf("after: %s\n", unit.Measure().ToString().c_str());
    if (unit.End() != 0)
        Fail("the unit did not end cleanly");
}

}  // namespace
}  // namespace endurance

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        fprintf(stderr, "usage: attack QUARN-UNIT SECONDS [CONNECTIONS]\n");
        return 2;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        endurance::Run(argv[1], uint32_t(atoi(argv[2])), argc > 3 ? size_t(atoi(argv[3])) : 200);
    } catch (const quarn::MonitorException& e) {
        endurance::Fail(e.Description());
    }
    return endurance::failed ? 1 : 0;
}
