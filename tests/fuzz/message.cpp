// A stream of messages as a transport reads it: byte 0 cuts it into pieces, bit 0 of byte 1 repairs checksums.

#include <quarn/quarn.h>

#include "fuzz/RepairMessages.h"

namespace quarn::test {
namespace {

void CheckEncoding(const IncomingMessage& message) {
    VariableDictionary dictionary("fuzz");
    dictionary.Add(message.GetTag(), "payload", VariantType::UINT8_VECTOR);
    const VariantValue payload = message.ToVariable(dictionary).GetValue();
    OutgoingMessage sent(dictionary.Find(message.GetTag()), payload);
    sent.SetStream(message.GetStream());

    IncomingMessage again;
    Require(again.Populate(sent.Sync(), sent.Bytes()) == sent.Bytes(), "what was encoded is no message");
    Require(again.GetTag() == message.GetTag() && again.GetStream() == message.GetStream() &&
                again.ToVariable(dictionary).GetValue().Equal(payload),
            "what was encoded decodes to something else");
    if (sent.ToString().substr(0, 2) == message.ToString().substr(0, 2))
        Require(sent.ToString() == message.ToString(), "the same layout, but other bytes");
}

/// What can be told apart in the stream, messages and why none starts at a byte; behind that what waits for more.
std::vector<std::string> Read(const Bytes& stream, uint8_t cut) {
    std::vector<std::string> read;
    Bytes waiting;
    InPieces(cut, stream, [&](const Bytes& piece) {
        waiting.insert(waiting.end(), piece.begin(), piece.end());
        IncomingMessage message;
        size_t at = 0;
        while (at < waiting.size()) {
            const size_t left = waiting.size() - at;
            size_t taken = 0;
            const std::string failure = Failure([&] { taken = message.Populate(&waiting[at], left); });
            Require(message.GetTotalBytes() == taken && taken <= left, "a wrong length");
            if (taken == 0 && failure.empty())
                break;
            if (taken != 0)
                CheckEncoding(message);
            read.push_back(failure + message.ToString());
            at += std::max<size_t>(taken, 1);
        }
        waiting.erase(waiting.begin(), waiting.begin() + ptrdiff_t(at));
    });
    read.emplace_back(waiting.begin(), waiting.end());
    return read;
}

}  // namespace

void CheckInput(Input& input) {
    const uint8_t cut = input.Byte();
    const bool repair = input.Byte() & 1;
    Bytes stream = input.Rest();
    if (repair)
        RepairMessages(stream.data(), stream.data() + stream.size());
    Require(Read(stream, cut) == Read(stream, 0), "pieces read otherwise");
}

}  // namespace quarn::test
