// What a message terminal receives; two bytes in front of what all terminals take: the backlog's limit in units of 16
// bytes (0 for the usual one), and whether checksums are repaired.

#include <quarn/IncomingMessage.h>
#include <quarn/MessageTerminal.h>
#include <quarn/Text.h>

#include "fuzz/RepairMessages.h"
#include "fuzz/TerminalFuzz.h"

namespace quarn::test {
namespace {

/// The terminal without anything clever: tries one byte after the other.
struct Model {
    void Receive(const std::string& piece) {
        waiting.insert(waiting.end(), piece.begin(), piece.end());
        if (waiting.size() <= limit)
            return;
        const Bytes front(waiting.begin(), waiting.begin() + 8);
        printed.push_back(Format("RX backlog for \"c\" reached %zu bytes (%s); clearing (traffic lost).",
                                 waiting.size(), FormatHexByteVectorUnprefixedSeparated(front, " ").c_str()));
        waiting.clear();
    }

    bool Get(IncomingMessage& message) {
        size_t at = 0, taken = 0;
        for (; at < waiting.size(); ++at) {
            const std::string failure =
                Failure([&] { taken = message.Populate(&waiting[at], waiting.size() - at); });
            if (failure.empty())
                break;
            if (skipped++ == 0)
                printed.push_back("Message terminal on \"c\" resynchronizing: " + failure);
        }
        waiting.erase(waiting.begin(), waiting.begin() + ptrdiff_t(at + taken));
        if (taken != 0 && skipped != 0)
            printed.push_back(Format("Message terminal on \"c\" resynchronized after %zu bytes",
                                     std::exchange(skipped, 0)));
        return taken != 0;
    }

    const size_t limit;
    Bytes waiting = {};
    size_t skipped = 0;
    Lines printed = {};
};

}  // namespace

void CheckInput(Input& bytes) {
    const size_t limit = size_t{16} * bytes.Byte();
    const bool repair = bytes.Byte() & 1;
    TerminalInput input(bytes);
    if (repair) {
        auto* const start = reinterpret_cast<uint8_t*>(input.stream.data());
        RepairMessages(start, start + input.stream.size());
    }
    MessageTerminal terminal(*TheLink().connection);
    terminal.SetRxBacklogLimit(limit);
    Model model{limit ? limit : 0x40000};
    DeliverToBoth(input, terminal, model, [&] {
        IncomingMessage got, expected;
        while (model.Get(expected))
            Require(terminal.Get(got) && got.ToString() == expected.ToString(), "another message");
        Require(!terminal.Get(got), "a message where there is none");
    });
}

}  // namespace quarn::test
