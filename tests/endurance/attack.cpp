/// A unit under attack: what its honest peers and its console notice, and what it holds meanwhile and afterwards.
///
/// usage: attack QUARN-UNIT SECONDS [CONNECTIONS]

#include <quarn/LocalTime.h>

#include "ctl/ConsoleClient.h"
#include "endurance/Attackers.h"
#include "endurance/HonestPeer.h"
#include "endurance/UnitProcess.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <memory>

namespace endurance {
namespace {

constexpr size_t kSparePeers = 64;  // for the honest ones, too
constexpr uint32_t kPatienceMs = 30000;
// What may be held per hostile connection, at most: a backlog each way, and the garbage that is being looked through.
constexpr size_t kAllowedKiBPerConnection = 512;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kAllowedKeptKiB = 1 << 20;  // the sanitizer's own memory
#else
constexpr size_t kAllowedKeptKiB = 2048;  // that the allocator does not give back
#endif

/// Reports on the work of four honest peers and a console client for so long.
void WorkHonestly(const UnitProcess& unit, uint32_t seconds, const char* when) {
    Latencies messages, answers;
    std::vector<std::unique_ptr<HonestPeer>> peers;
    for (const char* key : {"rf.squelch-level", "rf.frequency-khz", "audio.delay-samples", "audio.gain-db"})
        peers.push_back(std::make_unique<HonestPeer>(unit.Where("listens"), key, 10));
    unit::ConsoleClient console(unit.Where("has its console"), kPatienceMs);
    const uint64_t start = quarn::Tick();
    while (quarn::MillisecondsSince(start) < uint64_t{seconds} * 1000) {
        const uint64_t asked = quarn::Tick();
        if (console.Execute("var show rf.channel", kPatienceMs) != std::list<std::string>{"rf.channel = 1"})
            Fail("the console gave a wrong answer");
        answers.push_back(quarn::Tick() - asked);
        usleep(100000);
    }
    for (const auto& peer : peers)
        peer->End(messages);
    printf("%s: messages %s; console %s\n", when, Describe(messages).c_str(), Describe(answers).c_str());
}

/// Waits until the unit holds the descriptors, and at most so much memory, which it gives back once a second.
bool IsBackTo(const UnitProcess& unit, size_t descriptors, size_t residentKiB) {
    for (const uint64_t start = quarn::Tick(); quarn::MillisecondsSince(start) < kPatienceMs; usleep(50000)) {
        const Footprint now = unit.Measure();
        if (now.descriptors == descriptors && now.residentKiB <= residentKiB)
            return true;
    }
    return false;
}

void Run(const std::string& program, uint32_t seconds, size_t connections) {
    UnitProcess unit(program, {"--listen", "0", "--console", "0", "--max-peers",
                               std::to_string(connections + kSparePeers), "--console-mask", "0x0"});
    const size_t atRest = unit.Measure().descriptors;
    WorkHonestly(unit, std::max(seconds / 4, 1U), "without attack");
    if (!IsBackTo(unit, atRest, SIZE_MAX))
        Fail("honest peers left descriptors behind");
    const Footprint before = unit.Measure();
    printf("before: %s\n", before.ToString().c_str());
    Footprint during;
    {
        const Attackers attackers(unit.Where("listens"), connections);
        WorkHonestly(unit, seconds, "under attack");
        during = unit.Measure();
        printf("the attack: %zu connections at a time, %lu in all, %lu MB sent\n", connections,
               attackers.Made(), attackers.BytesSent() / 1000000);
    }
    printf("during: %s\n", during.ToString().c_str());
    // A connection that was closed and made again counts twice until the unit has noticed.
    if (during.descriptors > before.descriptors + connections + kSparePeers + 1)  // and the console client
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
    const size_t connections = argc > 3 ? size_t(atoi(argv[3])) : 200;
    return endurance::StatusOf([&] { endurance::Run(argv[1], uint32_t(atoi(argv[2])), connections); });
}
