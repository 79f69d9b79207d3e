// A sentence of four words (uint16, 24 characters, uint32, 64 bytes) and a UINT32 variable: encoded into a
// message that is ready to send, and decoded to a Sentence or applied to an index. The peer serialises and
// parses the same values with objects that it reuses, and frames them with a length and the same CRC32 over
// its bytes. Tags have 32 bits, so that the messages end in a CRC32.

#include <quarn/CRC32.h>
#include <quarn/IncomingMessage.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/SentenceGrammar.h>
#include <quarn/VariableDetails.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariableIndex.h>
#include <quarn/VariantValue.h>

#include "PinnedMain.h"

#include <benchmark/benchmark.h>
#if QUARN_BENCH_PEERS
#include "message.pb.h"
#endif

#include <string.h>

#include <memory>

namespace {

constexpr uint32_t kTag = 0x00020001;
const std::string kName = "receiver/antenna-1/gain.";

std::vector<uint8_t> Samples() {
    std::vector<uint8_t> samples(64);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = uint8_t(i * 7);
    return samples;
}

std::vector<quarn::VariantValue> Words() {
    return {quarn::VariantValue(uint16_t{0x1234}), quarn::VariantValue(kName),
            quarn::VariantValue(uint32_t{0x12345678}), quarn::VariantValue(Samples())};
}

// As many sentences as a protocol has.
void AddSentences(quarn::SentenceGrammar& grammar) {
    using quarn::VariantType;
    for (uint32_t i = 0; i < 8; ++i)
        grammar.Add(kTag + i, "sentence" + std::to_string(i), 0, VariantType::UINT16, VariantType::STRING,
                    VariantType::UINT32, VariantType::UINT8_VECTOR, VariantType::NONE);
}

void SentenceEncode(benchmark::State& state) {
    quarn::SentenceGrammar grammar("bench");
    AddSentences(grammar);
    const quarn::SentenceDetails& details = *grammar.Find(kTag, true);
    std::vector<quarn::VariantValue> words = Words();
    uint32_t value = 0;
    for (auto _ : state) {
        words[2].Set(++value);
        const quarn::OutgoingMessage message(details, words);
        benchmark::DoNotOptimize(message.Sync());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(SentenceEncode)->Name("message/sentence-encode/quarn");

// A Sentence that is used again, as the peer's objects are.
void SentenceDecode(benchmark::State& state) {
    quarn::SentenceGrammar grammar("bench");
    AddSentences(grammar);
    const quarn::SentenceDetails& details = *grammar.Find(kTag, true);
    const quarn::OutgoingMessage sent(details, Words());
    quarn::IncomingMessage message;
    quarn::Sentence sentence(details);
    for (auto _ : state) {
        const uint8_t* data = sent.Sync();
        benchmark::DoNotOptimize(data);
        if (message.Populate(data, sent.Bytes()) == 0 || !message.ToSentence(grammar, sentence))
            abort();
        benchmark::DoNotOptimize(sentence.GetWords().data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(SentenceDecode)->Name("message/sentence-decode/quarn");

// A new Sentence for each message.
void SentenceCreate(benchmark::State& state) {
    quarn::SentenceGrammar grammar("bench");
    AddSentences(grammar);
    const quarn::OutgoingMessage sent(*grammar.Find(kTag, true), Words());
    quarn::IncomingMessage message;
    for (auto _ : state) {
        const uint8_t* data = sent.Sync();
        benchmark::DoNotOptimize(data);
        if (message.Populate(data, sent.Bytes()) == 0)
            abort();
        const std::unique_ptr<quarn::Sentence> sentence(message.CreateSentence(grammar));
        benchmark::DoNotOptimize(sentence->GetWords().data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(SentenceCreate)->Name("message/sentence-create/quarn");

// An index of the size of a unit's.
struct Unit {
    Unit() {
        for (uint32_t i = 0; i < 100; ++i) {
            dictionary.Add(kTag + i, "variable" + std::to_string(i), quarn::VariantType::UINT32);
            index.Add(kTag + i, &variables[i], 0);
        }
    }
    quarn::VariableDictionary dictionary{"bench"};
    quarn::VariableIndex index{"bench", dictionary};
    uint32_t variables[100] = {};
};

void VariableEncode(benchmark::State& state) {
    Unit unit;
    const quarn::VariableDetails& details = unit.dictionary.Find(kTag + 50);
    const quarn::Variant& reference = *unit.index.GetReference(kTag + 50);
    for (auto _ : state) {
        ++unit.variables[50];
        const quarn::OutgoingMessage message(details, reference);
        benchmark::DoNotOptimize(message.Sync());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(VariableEncode)->Name("message/variable-encode/quarn");

void VariableDecode(benchmark::State& state) {
    Unit unit;
    const quarn::OutgoingMessage sent(unit.dictionary.Find(kTag + 50), *unit.index.GetReference(kTag + 50));
    quarn::IncomingMessage message;
    for (auto _ : state) {
        const uint8_t* data = sent.Sync();
        benchmark::DoNotOptimize(data);
        if (message.Populate(data, sent.Bytes()) == 0 || !message.Apply(unit.index))
            abort();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(VariableDecode)->Name("message/variable-decode/quarn");

#if QUARN_BENCH_PEERS

// The values as a program has them, filled again and again as ours are.
struct Plain {
    uint16_t channel = 0x1234;
    std::string name = kName;
    uint32_t frequency = 0x12345678;
    std::vector<uint8_t> samples = Samples();
};

void Fill(quarn::bench::peer::Sentence& message, const Plain& plain) {
    message.set_channel(plain.channel);
    message.set_name(plain.name);
    message.set_frequency(plain.frequency);
    message.set_samples(plain.samples.data(), plain.samples.size());
}

void Fill(quarn::bench::peer::Variable& message, const Plain& plain) {
    message.set_value(plain.frequency);
}

void Take(const quarn::bench::peer::Sentence& message, Plain& plain) {
    plain.channel = uint16_t(message.channel());
    plain.name = message.name();
    plain.frequency = message.frequency();
    plain.samples.assign(message.samples().begin(), message.samples().end());
}

void Take(const quarn::bench::peer::Variable& message, Plain& plain) {
    plain.frequency = message.value();
}

// Length, serialised message, CRC32 of both; the size of it all.
template <class Message>
size_t Frame(Message& message, const Plain& plain, uint8_t* out) {
    Fill(message, plain);
    const size_t size = message.ByteSizeLong();
    const uint32_t length = uint32_t(size);
    memcpy(out, &length, sizeof length);
    message.SerializeWithCachedSizesToArray(out + sizeof length);
    const uint32_t sum = quarn::CRC32::Compute(0, out, sizeof length + size);
    memcpy(out + sizeof length + size, &sum, sizeof sum);
    return sizeof length + size + sizeof sum;
}

template <class Message>
void PeerEncode(benchmark::State& state) {
    Message message;
    Plain plain;
    uint8_t out[256];
    for (auto _ : state) {
        ++plain.frequency;
        benchmark::DoNotOptimize(Frame(message, plain, out));
        benchmark::ClobberMemory();
    }
}

template <class Message>
void Parse(const uint8_t* data, size_t size, Message& message, Plain& plain) {
    uint32_t length, sum;
    memcpy(&length, data, sizeof length);
    memcpy(&sum, data + size - sizeof sum, sizeof sum);
    if (length != size - 8 || sum != quarn::CRC32::Compute(0, data, size - sizeof sum) ||
        !message.ParseFromArray(data + sizeof length, int(length)))
        abort();
    Take(message, plain);
}

template <class Message>
void PeerDecode(benchmark::State& state) {
    Message message;
    Plain plain;
    uint8_t frame[256];
    const size_t size = Frame(message, plain, frame);
    for (auto _ : state) {
        const uint8_t* data = frame;
        benchmark::DoNotOptimize(data);
        Parse(data, size, message, plain);
        benchmark::ClobberMemory();
    }
}

// New objects for each message.
void PeerCreate(benchmark::State& state) {
    quarn::bench::peer::Sentence source;
    uint8_t frame[256];
    const size_t size = Frame(source, Plain(), frame);
    for (auto _ : state) {
        const uint8_t* data = frame;
        benchmark::DoNotOptimize(data);
        quarn::bench::peer::Sentence message;
        Plain plain{0, {}, 0, {}};
        Parse(data, size, message, plain);
        benchmark::DoNotOptimize(plain.samples.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(PeerEncode<quarn::bench::peer::Sentence>)->Name("message/sentence-encode/protobuf");
BENCHMARK(PeerDecode<quarn::bench::peer::Sentence>)->Name("message/sentence-decode/protobuf");
BENCHMARK(PeerCreate)->Name("message/sentence-create/protobuf");
BENCHMARK(PeerEncode<quarn::bench::peer::Variable>)->Name("message/variable-encode/protobuf");
BENCHMARK(PeerDecode<quarn::bench::peer::Variable>)->Name("message/variable-decode/protobuf");

#endif

}  // namespace

QUARN_PINNED_BENCHMARK_MAIN()
