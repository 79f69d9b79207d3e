// CRC16 and CRC32 at the lengths of a small message, a sentence, a chunk and a large chunk, beside a plain
// byte-wise table and other libraries. The calls are independent of each other, as those for messages are.

#include <quarn/CRC16.h>
#include <quarn/CRC32.h>

#include "PinnedMain.h"

#include <benchmark/benchmark.h>
#if QUARN_BENCH_PEERS
#include <libdeflate.h>
#include <zlib.h>
#endif

#include <array>
#include <vector>

namespace {

template <class Register, Register Polynomial>
Register ByteWise(Register crc, const uint8_t* data, size_t length) {
    static constexpr auto table = [] {
        std::array<Register, 256> entries{};
        for (uint32_t i = 0; i < 256; ++i) {
            Register entry = Register(i);
            for (int bit = 0; bit < 8; ++bit)
                entry = Register((entry >> 1) ^ ((entry & 1) ? Polynomial : 0));
            entries[i] = entry;
        }
        return entries;
    }();
    for (size_t i = 0; i < length; ++i)
        crc = Register(table[uint8_t(crc ^ data[i])] ^ (crc >> 8));
    return crc;
}

using Sum = uint32_t (*)(const uint8_t*, size_t);

template <Sum sum>
void Run(benchmark::State& state) {
    const size_t length = size_t(state.range(0));
    std::vector<uint8_t> bytes(length);
    for (size_t i = 0; i < length; ++i)
        bytes[i] = uint8_t(i * 131 + (i >> 8));
    for (auto _ : state) {
        const uint8_t* data = bytes.data();
        benchmark::DoNotOptimize(data);
        benchmark::DoNotOptimize(sum(data, length));
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
}

uint32_t Quarn16(const uint8_t* data, size_t length) {
    return quarn::CRC16::Compute(0, data, length);
}
uint32_t ByteWise16(const uint8_t* data, size_t length) {
    return ByteWise<uint16_t, 0x8408>(0, data, length);
}
uint32_t Quarn32(const uint8_t* data, size_t length) {
    return quarn::CRC32::Compute(0, data, length);
}
uint32_t ByteWise32(const uint8_t* data, size_t length) {
    return ByteWise<uint32_t, 0xEDB88320>(0xFFFFFFFF, data, length);
}

void Lengths(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(12)->Arg(64)->Arg(1024)->Arg(65536);
}

BENCHMARK(Run<Quarn32>)->Name("crc/crc32/quarn")->Apply(Lengths);
BENCHMARK(Run<ByteWise32>)->Name("crc/crc32/bytewise")->Apply(Lengths);
BENCHMARK(Run<Quarn16>)->Name("crc/crc16/quarn")->Apply(Lengths);
BENCHMARK(Run<ByteWise16>)->Name("crc/crc16/bytewise")->Apply(Lengths);

#if QUARN_BENCH_PEERS
uint32_t Zlib(const uint8_t* data, size_t length) {
    return uint32_t(crc32(0, data, uInt(length)));
}
uint32_t Libdeflate(const uint8_t* data, size_t length) {
    return libdeflate_crc32(0, data, length);
}

BENCHMARK(Run<Zlib>)->Name("crc/crc32/zlib")->Apply(Lengths);
BENCHMARK(Run<Libdeflate>)->Name("crc/crc32/libdeflate")->Apply(Lengths);
#endif

}  // namespace

QUARN_PINNED_BENCHMARK_MAIN()
