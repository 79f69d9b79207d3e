// Clock synchronisation: how well it keeps a client's clock, and what an exchange costs the client.
//
// clocksync/offset/... runs the protocol's own code in simulated time, two minutes of exchanges with ten
// seeds each, against a server with the true time. A datagram takes up to the given number of microseconds
// each way, any of them being as likely as another, and the client's clock runs fast by the given parts per
// million. Every millisecond the distance of the client's clock from the server's is taken; the counters tell
// the median, the 99th percentile and the worst, in microseconds, and "free" how far a clock that nobody sets
// is off at the end.
//
// clocksync/loopback/... takes that distance after each of many exchanges with a real server in another
// thread, over the loopback interface, with clocks that count the same crystal.
//
// clocksync/exchange/... is what such an exchange costs. CPU time is that of the client's thread alone; "raw"
// makes the same system calls and nothing else.

#include <quarn/LocalTime.h>
#include <quarn/MicrosecondClockSoftware.h>
#include <quarn/MonitorException.h>
#include <quarn/SyncedClockServer.h>

#include "ClockWorld.h"
#include "PinnedMain.h"
#include "connections/SocketAddress.h"
#include "services/ClockExchange.h"
#include "services/ClockSocket.h"

#include <benchmark/benchmark.h>

#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using namespace quarn;

using bench::ClockWorld;
using bench::LOOPBACK;

constexpr double SIMULATED_SECONDS = 120;

void CountOffsets(benchmark::State& state, std::vector<uint32_t>& offsets) {
    std::sort(offsets.begin(), offsets.end());
    state.counters["median"] = offsets[offsets.size() / 2];
    state.counters["99%"] = offsets[offsets.size() / 100 * 99];
    state.counters["worst"] = offsets.back();
}

void Offset(benchmark::State& state) {
    std::vector<uint32_t> offsets;
    for (auto _ : state) {
        offsets.clear();
        srand(1);
        for (uint32_t seed = 1; seed <= 10; ++seed)
            ClockWorld(seed, state.range(0), state.range(1))
                .Run(SIMULATED_SECONDS,
                     [&](double, int32_t offset) { offsets.push_back(uint32_t(abs(offset))); });
    }
    CountOffsets(state, offsets);
    state.counters["free"] = SIMULATED_SECONDS * double(state.range(1));
}

// A real server and the client's side of it.
struct Loopback {
    Loopback() {
        socket.Open();
        socket.Bind(LOOPBACK, 0);
    }

    MicrosecondClockSoftware serverClock, clientClock;
    SyncedClockServer server{nullptr, LOOPBACK, 0, serverClock};
    ClockSocket socket;
    ClockSocketLink link{socket, LOOPBACK, server.GetPort()};
    ClockExchange exchange{link, LOOPBACK, server.GetPort(), clientClock};
};

// False when a busy machine made the answer late.
bool Succeeds(ClockExchange& exchange) {
    try {
        exchange.DiscardLateReplies();
        exchange.Run();
        return true;
    } catch (const MonitorException&) {
        return false;
    }
}

void Exchange(benchmark::State& state) {
    Loopback loopback;
    size_t late = 0;
    for (auto _ : state)
        late += !Succeeds(loopback.exchange);
    state.counters["late"] = double(late);
}

void LoopbackOffset(benchmark::State& state) {
    Loopback loopback;
    std::vector<uint32_t> offsets;
    for (auto _ : state) {
        if (!Succeeds(loopback.exchange))
            continue;
        const uint32_t ahead = loopback.clientClock.GetAdjustment() - loopback.serverClock.GetAdjustment();
        offsets.push_back(uint32_t(abs(int32_t(ahead))));
    }
    CountOffsets(state, offsets);
}

void RawExchange(benchmark::State& state) {
    Loopback loopback;
    const int fd = loopback.socket.Get();
    const sockaddr_in to = MakeSocketAddress(LOOPBACK, loopback.server.GetPort());
    const uint8_t request[8] = {'S', 'C'};
    uint8_t reply[8];
    pollfd waiting = {fd, POLLIN, 0};
    sockaddr_in from;
    for (auto _ : state) {
        socklen_t length = sizeof from;
        recvfrom(fd, reply, sizeof reply, MSG_TRUNC, reinterpret_cast<sockaddr*>(&from), &length);
        benchmark::DoNotOptimize(Tick());
        if (sendto(fd, request, sizeof request, MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&to),
                   sizeof to) != 8)
            state.SkipWithError("sendto");
        poll(&waiting, 1, 10);
        benchmark::DoNotOptimize(Tick());
        length = sizeof from;
        if (recvfrom(fd, reply, sizeof reply, MSG_TRUNC, reinterpret_cast<sockaddr*>(&from), &length) != 8)
            state.SkipWithError("recvfrom");
    }
}

BENCHMARK(Offset)
    ->Name("clocksync/offset/quarn")
    ->ArgNames({"delay_us", "drift_ppm"})
    ->Args({2000, 50})
    ->Args({2000, 0})
    ->Args({200, 50})
    ->Args({0, 50})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(LoopbackOffset)->Name("clocksync/loopback/quarn")->Iterations(20000);
BENCHMARK(Exchange)->Name("clocksync/exchange/quarn");
BENCHMARK(RawExchange)->Name("clocksync/exchange/raw");

}  // namespace

QUARN_PINNED_BENCHMARK_MAIN()
