/// A unit under attack: what its honest peers and its console notice, and what it holds meanwhile and afterwards.

#include "common/UnitGrammar.h"
#include "connections/Loopback.h"
#include "endurance/HonestClients.h"

#include <errno.h>
#include <stdlib.h>

#include <random>

namespace endurance {
namespace {

constexpr size_t kSparePeers = 64;  // for the honest ones, too
// What may be held per hostile connection, at most: a backlog each way, and the garbage that is being looked through.
constexpr size_t kAllowedKiBPerConnection = 512;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kAllowedKeptKiB = 1 << 20;  // the sanitizer's own memory
#else
constexpr size_t kAllowedKeptKiB = 2048;  // that the allocator does not give back
#endif

/// Hostile connections to a unit, of all kinds in equal numbers, made again whenever the unit closes them; served by a
/// thread of their own.
class Attackers {
public:
    Attackers(const unit::Endpoint& unit, size_t count)
        : unit_(unit), thread_([this, count](const auto& end) {
              std::vector<Connection> connections(count);
              for (; !end.stop_requested(); usleep(1000))
                  for (size_t i = 0; i < count; ++i)
                      Advance(connections[i], attacks_[i % attacks_.size()]);
          }) {}

    std::atomic<uint64_t> made{0};
    std::atomic<uint64_t> bytesSent{0};

private:
    struct Attack {
        std::string first;      // what it sends once
        std::string then;       // of which it sends a piece every millisecond, from anywhere
        size_t piece = 0;       // in bytes
        uint64_t lifeMs = 0;    // after which it leaves
        bool isSudden = false;  // it leaves by a reset
    };
    struct Connection {
        std::unique_ptr<quarn::TCPConnection> connection;
        uint64_t since = 0;  // ticks at which it was made
        bool hasSent = false;
    };

    static std::vector<Attack> Attacks() {
        const std::string query =
            quarn::test::WireBytes(unit::UnitGrammar(), unit::QUERY, {quarn::VariantValue("*")});
        const std::string garbage = quarn::test::RandomBytes(1 << 20);
        const std::string giant("\xA6\xFF\xFF\xFF\xF0\x00\x03\x00\x01\x77\x1C", 11);  // a good header
        constexpr uint64_t forever = UINT64_MAX;
        return {{garbage.substr(0, 4096), garbage, 4096, forever},  // garbage as fast as it is taken
                {query.substr(0, 12), "", 0, 200},                  // half a message
                {giant, garbage, 256, forever},                     // announces nearly 4 GiB and trickles
                {query, query, query.size(), forever},              // asks for everything and never reads
                {query, query, query.size(), 20, true}};            // leaves suddenly
    }

    void Advance(Connection& hostile, const Attack& attack) {
        if (!hostile.connection) {
            hostile = {std::make_unique<quarn::TCPConnection>("hostile", unit_.address, unit_.port),
                       quarn::Tick()};
            ++made;
            return;
        }
        const size_t place = random_() % (attack.then.size() - attack.piece + 1);
        const std::string_view piece = std::string_view(attack.then).substr(place, attack.piece);
        const std::string_view bytes = hostile.hasSent ? piece : attack.first;
        const ssize_t sent =
            send(hostile.connection->Socket(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        const bool isOpen = sent >= 0 || errno == EAGAIN;
        hostile.hasSent |= sent > 0;
        bytesSent += uint64_t(std::max<ssize_t>(sent, 0));
        if (isOpen && quarn::MillisecondsSince(hostile.since) < attack.lifeMs)
            return;
        const linger atOnce = {attack.isSudden, 0};
        setsockopt(hostile.connection->Socket(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        hostile.connection.reset();
    }

    const unit::Endpoint unit_;
    const std::vector<Attack> attacks_ = Attacks();
    std::mt19937 random_{20};
    std::jthread thread_;
};

/// Reports on the work of four honest peers and a console client for so long.
void WorkHonestly(const UnitProcess& unit, uint32_t seconds, const char* when) {
    Latencies messages, answers;
    {
        unit::ConsoleClient console = ConsoleOf(unit);
        std::list<std::jthread> clients;
        for (const char* key :
             {"rf.squelch-level", "rf.frequency-khz", "audio.delay-samples", "audio.gain-db"})
            clients.push_back(StartHonestPeer(unit, key, 10, messages));
        clients.push_back(Repeat("console", 100, answers,
                                 [&] { Expect(console, "var show rf.channel", {"rf.channel = 1"}); }));
        sleep(seconds);
    }
    printf("%s: messages %s; console %s\n", when, messages.ToString().c_str(), answers.ToString().c_str());
}

/// Waits until the unit holds the descriptors, and at most so much memory, which it gives back once a second.
void AwaitRest(const UnitProcess& unit, size_t descriptors, size_t residentKiB) {
    if (!quarn::test::Eventually([&] {
            const Footprint now = unit.Measure();
            return now.descriptors == descriptors && now.residentKiB <= residentKiB;
        }))
        Fail("descriptors or memory did not go back to where they were: " + unit.Measure().ToString());
}

void Run(const std::string& program, uint32_t seconds, size_t connections) {
    const UnitProcess unit(quarn::Format("%s --listen 0 --console 0 --console-mask 0x0 --max-peers %zu",
                                         program.c_str(), connections + kSparePeers));
    const size_t atRest = unit.Measure().descriptors;
    WorkHonestly(unit, std::max(seconds / 4, 1U), "without attack");
    AwaitRest(unit, atRest, SIZE_MAX);
    const Footprint before = unit.Measure();
    printf("before: %s\n", before.ToString().c_str());
    {
        const Attackers attackers(unit.Where("listens"), connections);
        WorkHonestly(unit, seconds, "under attack");
        const Footprint during = unit.Measure();
        printf("the attack: %zu connections at a time, %lu in all, %lu MB sent\nduring: %s\n", connections,
               attackers.made.load(), attackers.bytesSent / 1000000, during.ToString().c_str());
        if (during.descriptors > atRest + connections + kSparePeers + 1)  // all peers and the console
            Fail("descriptors were not bounded");
        if (during.peakKiB > before.peakKiB + connections * kAllowedKiBPerConnection + kAllowedKeptKiB)
            Fail("memory was not bounded");
    }
    AwaitRest(unit, atRest, before.residentKiB + kAllowedKeptKiB);
    printf("after: %s\n", unit.Measure().ToString().c_str());
}

}  // namespace
}  // namespace endurance

int main(int argc, char** argv) {
    if (argc == 4)
        return endurance::StatusOf([&] { endurance::Run(argv[1], atoi(argv[2]), atoi(argv[3])); });
    fprintf(stderr, "usage: attack QUARN-UNIT SECONDS CONNECTIONS\n");
    return 2;
}
