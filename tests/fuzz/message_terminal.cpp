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
        const size_t shown = std::min<size_t>(waiting.size(), 8);
        printed.push_back(Format(
            "RX backlog for \"c\" reached %zu bytes (%s); clearing (traffic lost).", waiting.size(),
            FormatHexByteVectorUnprefixedSeparated({waiting.begin(), waiting.begin() + ptrdiff_t(shown)}, " ")
                .c_str()));
        waiting.clear();
    }

    bool Get(IncomingMessage& message) {
        size_t at = 0, taken = 0;
        for (bool isGarbage = true; isGarbage && at < waiting.size();) {
            const std::string failure =
                Failure([&] { taken = message.Populate(waiting.data() + at, waiting.size() - at); });
            isGarbage = !failure.empty();
            if (!isGarbage)
                break;
            if (skipped == 0)
                printed.push_back("Message terminal on \"c\" resynchronizing: " + failure);
            ++skipped;
            ++at;
        }
        waiting.erase(waiting.begin(), waiting.begin() + ptrdiff_t(at + taken));
        if (taken != 0 && skipped != 0) {
            printed.push_back(Format("Message terminal on \"c\" resynchronized after %zu bytes", skipped));
            skipped = 0;
        }
        return taken != 0;
    }

    size_t limit;
    Bytes waiting = {};
    size_t skipped = 0;
    Lines printed = {};
};

}  // namespace
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn::test;
    const size_t limit = size > 0 ? size_t{16} * data[0] : 0;
    Bytes bytes(data, data + size);
    if (size > 5 && data[1] & 1)
        RepairMessages(bytes, 5, size);
    Input rest(bytes.data() + std::min<size_t>(size, 2), size - std::min<size_t>(size, 2));
    const TerminalInput input(rest);

    DebugCapture capture;
    quarn::MessageTerminal terminal(*TheLink().connection);
    terminal.SetRxBacklogLimit(limit);
    Model model{limit ? limit : 0x40000};
    uint64_t count = 0;
    DeliverToBoth(input, terminal, model, [&] {
        quarn::IncomingMessage got, expected;
        while (model.Get(expected)) {
            ++count;
            Require(terminal.Get(got) && got.ToString() == expected.ToString(), "another message");
        }
        Require(!terminal.Get(got), "a message where there is none");
    });
    Require(terminal.GetReceivedMessageCount() == count, "another number of messages");
    Require(capture.Lines() == model.printed, "other lines printed");
    return 0;
}
