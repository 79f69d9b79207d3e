// SLIP framing and unframing of messages of random bytes, beside a plain loop over the bytes that does the
// same without a bound or an overflow report. Rates are those of the messages' own bytes.

#include <quarn/SLIPDecoder.h>
#include <quarn/SLIPEncoder.h>

#include "PinnedMain.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes RandomBytes(size_t length) {
    std::mt19937 random(1);
    Bytes bytes(length);
    for (uint8_t& byte : bytes)
        byte = uint8_t(random());
    return bytes;
}

struct QuarnCodec {
    void Encode(const Bytes& message, Bytes& framed) {
        encoder.Put(message);
        encoder.Read(framed);
    }
    bool Decode(const Bytes& framed, Bytes& message) {
        decoder.Write(framed);
        return decoder.Get(message);
    }

    quarn::SLIPEncoder encoder{"bench", 0};
    quarn::SLIPDecoder decoder{"bench", 0};
};

struct BytewiseCodec {
    void Encode(const Bytes& message, Bytes& framed) {
        framed.clear();
        for (const uint8_t byte : message) {
            if (byte == 0xC0 || byte == 0xDB) {
                framed.push_back(0xDB);
                framed.push_back(byte == 0xC0 ? 0xDC : 0xDD);
            } else {
                framed.push_back(byte);
            }
        }
        framed.push_back(0xC0);
    }
    bool Decode(const Bytes& framed, Bytes& message) {
        backlog.insert(backlog.end(), framed.begin(), framed.end());
        message.clear();
        for (size_t i = 0; i < backlog.size(); ++i) {
            if (backlog[i] == 0xC0 && !message.empty()) {
                backlog.erase(backlog.begin(), backlog.begin() + ptrdiff_t(i) + 1);
                return true;
            }
            if (backlog[i] == 0xDB && ++i < backlog.size())
                message.push_back(backlog[i] == 0xDC ? 0xC0 : backlog[i] == 0xDD ? 0xDB : backlog[i]);
            else if (backlog[i] != 0xC0)
                message.push_back(backlog[i]);
        }
        return false;
    }

    Bytes backlog;
};

template <class Codec>
void Encode(benchmark::State& state) {
    const Bytes message = RandomBytes(size_t(state.range(0)));
    Codec codec;
    Bytes framed;
    for (auto _ : state) {
        codec.Encode(message, framed);
        benchmark::DoNotOptimize(framed.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
}

template <class Codec>
void Decode(benchmark::State& state) {
    const Bytes message = RandomBytes(size_t(state.range(0)));
    Bytes framed, decoded;
    quarn::SLIPEncoder encoder("bench", 0);
    encoder.Put(message);
    encoder.Read(framed);
    Codec codec;
    for (auto _ : state) {
        if (!codec.Decode(framed, decoded))
            state.SkipWithError("no frame");
        benchmark::DoNotOptimize(decoded.data());
    }
    if (decoded != message)
        state.SkipWithError("another frame");
    state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
}

void Lengths(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(16)->Arg(256)->Arg(1500)->Arg(65536);
}

BENCHMARK(Encode<QuarnCodec>)->Name("slip/encode/quarn")->Apply(Lengths);
BENCHMARK(Encode<BytewiseCodec>)->Name("slip/encode/bytewise")->Apply(Lengths);
BENCHMARK(Decode<QuarnCodec>)->Name("slip/decode/quarn")->Apply(Lengths);
BENCHMARK(Decode<BytewiseCodec>)->Name("slip/decode/bytewise")->Apply(Lengths);

}  // namespace

QUARN_PINNED_BENCHMARK_MAIN()
