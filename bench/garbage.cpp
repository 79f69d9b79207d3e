// How long MessageTerminal::Get() takes to work off a backlog of 256 KiB that holds no message, or one at its
// end. "plain" is the same search written as plainly as it can be, with an exception for each byte skipped;
// it is not measured where headers stand at every byte, since it takes twenty seconds there.

#include <quarn/IncomingMessage.h>
#include <quarn/MessageTerminal.h>
#include <quarn/MonitorException.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/TCPConnection.h>
#include <quarn/VariableDetails.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariantValue.h>

#include "LoopbackPair.h"
#include "PinnedMain.h"
#include "messages/MessageDecoder.h"

#include <benchmark/benchmark.h>

#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

using quarn::bench::Require;
using Bytes = std::vector<uint8_t>;

constexpr size_t GARBAGE_BYTES = 256 * 1024;
constexpr size_t PIECE_BYTES = 4096;

void Append(Bytes& bytes, const quarn::OutgoingMessage& message) {
    bytes.insert(bytes.end(), message.Sync(), message.Sync() + message.Bytes());
}

quarn::OutgoingMessage MakeMessage(uint32_t tag, size_t payload) {
    static const quarn::VariableDictionary dictionary("bench");
    return {quarn::VariableDetails(tag, "blob", dictionary, quarn::VariantType::UINT8_VECTOR),
            quarn::VariantValue(Bytes(payload, 0x55))};
}

// Random bytes and a message. A random header without a checksum of its own that announces more than there is
// would have to be waited for, so such bytes are drawn again, from the end on.
Bytes RandomGarbage() {
    std::mt19937 random(1);
    Bytes bytes(GARBAGE_BYTES);
    std::generate(bytes.begin(), bytes.end(), [&] { return uint8_t(random()); });
    Append(bytes, MakeMessage(0x10001, 100));
    for (size_t i = GARBAGE_BYTES; i-- > 0;)
        for (;;) {
            const auto status = quarn::DecodeMessage(&bytes[i], bytes.size() - i, quarn::DirectCRC()).status;
            if (status != quarn::DecodeStatus::COMPLETE && status != quarn::DecodeStatus::INCOMPLETE)
                break;
            bytes[i] = uint8_t(random());
        }
    return bytes;
}

// Each byte announces 41634 bytes.
Bytes SyncBytes() {
    return Bytes(GARBAGE_BYTES, 0xA2);
}

// Headers with right checksums, each announcing half of the backlog.
Bytes GoodHeaders() {
    Bytes bytes;
    const quarn::OutgoingMessage message = MakeMessage(0x10001, GARBAGE_BYTES / 2);
    while (bytes.size() < GARBAGE_BYTES)
        bytes.insert(bytes.end(), message.Sync(), message.Sync() + 11);
    bytes.resize(GARBAGE_BYTES);
    return bytes;
}

// A terminal whose backlog holds the bytes.
class LoadedTerminal {
public:
    explicit LoadedTerminal(const Bytes& bytes) : LoadedTerminal(bytes, quarn::bench::LoopbackPair()) {}
    ~LoadedTerminal() { close(peer_); }
    LoadedTerminal(const LoadedTerminal&) = delete;
    LoadedTerminal& operator=(const LoadedTerminal&) = delete;

private:
    LoadedTerminal(const Bytes& bytes, std::pair<int, int> ends)
        : peer_(ends.first), connection_("bench", 1, ends.second), terminal(connection_) {
        terminal.SetRxBacklogLimit(2 * GARBAGE_BYTES);
        for (size_t start = 0; start < bytes.size(); start += PIECE_BYTES) {
            const size_t length = std::min(PIECE_BYTES, bytes.size() - start);
            Require(send(peer_, &bytes[start], length, 0) == ssize_t(length) && terminal.Work());
        }
        uint64_t received = 0;
        while (terminal.GetByteCounts(&received, nullptr), received < bytes.size())
            terminal.Work();
    }

    const int peer_;
    quarn::TCPConnection connection_;

public:
    quarn::MessageTerminal terminal;
};

template <class Search>
void Measure(benchmark::State& state, const Bytes& bytes, bool expected, Search&& search) {
    for (auto _ : state) {
        const double seconds = search(bytes, expected);
        state.SetIterationTime(seconds);
    }
    state.SetBytesProcessed(int64_t(state.iterations() * bytes.size()));
}

// Of the thread, since others use the machine as well.
double ProcessorSeconds() {
    timespec time = {};
    Require(clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time) == 0);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

double Quarn(const Bytes& bytes, bool expected) {
    LoadedTerminal loaded(bytes);
    quarn::IncomingMessage message;
    const double start = ProcessorSeconds();
    const bool found = loaded.terminal.Get(message);
    const double seconds = ProcessorSeconds() - start;
    Require(found == expected);
    return seconds;
}

double Plain(const Bytes& bytes, bool expected) {
    quarn::IncomingMessage message;
    const double start = ProcessorSeconds();
    bool found = false;
    for (size_t i = 0; i < bytes.size() && !found; ++i)
        try {
            found = message.Populate(&bytes[i], bytes.size() - i) != 0;
        } catch (const quarn::MonitorException&) {
        }
    const double seconds = ProcessorSeconds() - start;
    Require(found == expected);
    return seconds;
}

void RandomQuarn(benchmark::State& state) {
    Measure(state, RandomGarbage(), true, Quarn);
}
void RandomPlain(benchmark::State& state) {
    Measure(state, RandomGarbage(), true, Plain);
}
void SyncBytesQuarn(benchmark::State& state) {
    Measure(state, SyncBytes(), false, Quarn);
}
void GoodHeadersQuarn(benchmark::State& state) {
    Measure(state, GoodHeaders(), false, Quarn);
}

BENCHMARK(RandomQuarn)->Name("garbage/random/quarn")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(RandomPlain)->Name("garbage/random/plain")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(SyncBytesQuarn)->Name("garbage/0xA2/quarn")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(GoodHeadersQuarn)->Name("garbage/headers/quarn")->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

QUARN_PINNED_BENCHMARK_MAIN()
