// A stream of messages as a transport reads it: byte 0 cuts it into pieces, bit 0 of byte 1 repairs checksums.

#include <quarn/quarn.h>

#include "fuzz/RepairMessages.h"

namespace quarn::test {
namespace {

struct Reading {
    std::vector<IncomingMessage> messages;
    std::vector<std::string> failures;
    Bytes waiting;
};

// Takes what can be told apart at the front, byte by byte where no message starts.
void Decode(Reading& reading) {
    Bytes& waiting = reading.waiting;
    IncomingMessage message;
    size_t at = 0;
    while (at < waiting.size()) {
        const size_t available = waiting.size() - at;
        size_t taken = 0;
        const std::string failure =
            Failure([&] { taken = message.Populate(waiting.data() + at, available); });
        Require(message.GetTotalBytes() == taken && taken <= available, "a wrong length");
        if (taken == 0 && failure.empty())
            break;
        if (taken == 0)
            reading.failures.push_back(failure);
        else
            reading.messages.push_back(message);
        at += std::max<size_t>(taken, 1);
    }
    waiting.erase(waiting.begin(), waiting.begin() + ptrdiff_t(at));
}

Reading Read(const Bytes& stream, uint8_t cut) {
    Reading reading;
    InPieces(cut, stream, [&reading](const Bytes& piece) {
        reading.waiting.insert(reading.waiting.end(), piece.begin(), piece.end());
        Decode(reading);
    });
    return reading;
}

Bytes PayloadOf(const IncomingMessage& message) {
    VariableDictionary dictionary("fuzz");
    dictionary.Add(message.GetTag(), "payload", VariantType::UINT8_VECTOR);
    return message.ToVariable(dictionary).GetValue();
}

void CheckEncoding(const IncomingMessage& message) {
    VariableDictionary dictionary("fuzz");
    dictionary.Add(message.GetTag(), "payload", VariantType::UINT8_VECTOR);
    const Bytes payload = PayloadOf(message);
    OutgoingMessage sent(dictionary.Find(message.GetTag()), VariantValue(payload));
    sent.SetStream(message.GetStream());

    IncomingMessage again;
    Require(again.Populate(sent.Sync(), sent.Bytes()) == sent.Bytes(), "what was encoded is no message");
    Require(again.GetTag() == message.GetTag() && again.GetStream() == message.GetStream() &&
                PayloadOf(again) == payload,
            "what was encoded decodes to something else");
    if (sent.ToString().substr(0, 2) == message.ToString().substr(0, 2))
        Require(sent.ToString() == message.ToString(), "the same layout, but other bytes");

    const Bytes cut(sent.Sync(), sent.Sync() + sent.Bytes() - 1);
    Require(again.Populate(cut.data(), cut.size()) == 0, "a message without its last byte is one");
}

}  // namespace
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn::test;
    Input input(data, size);
    const uint8_t cut = input.Byte();
    const bool repair = input.Byte() & 1;
    Bytes stream = input.Rest();
    if (repair)
        RepairMessages(stream, 0, stream.size());

    const Reading whole = Read(stream, 0);
    const Reading pieces = Read(stream, cut);
    Require(whole.failures == pieces.failures && whole.waiting == pieces.waiting, "pieces read otherwise");
    Require(std::equal(whole.messages.begin(), whole.messages.end(), pieces.messages.begin(),
                       pieces.messages.end(),
                       [](const auto& a, const auto& b) { return a.ToString() == b.ToString(); }),
            "pieces hold other messages");
    for (const auto& message : whole.messages)
        CheckEncoding(message);
    return 0;
}
