#pragma once

#include "connections/Loopback.h"
#include "fuzz/Fuzz.h"
#include "support/DebugCapture.h"

#include <utility>

namespace quarn::test {

/// What a terminal's peer sends: byte 0 of an input cuts it into pieces, bit 0 of byte 1 has what arrives taken only at
/// the end, and byte 2 is how often the rest is repeated.
struct TerminalInput {
    explicit TerminalInput(Input& input) : cut(input.Byte()), takesLate(input.Byte() & 1) {
        const uint8_t code = input.Byte();
        const std::string text = input.Text();
        // Seldom more than once, which is slow, but often enough to fill a backlog.
        for (size_t repeats = code < 0xF0 ? 1 : 2 * (code - 0xEEU); repeats > 0; --repeats)
            stream += text;
    }

    const uint8_t cut;
    const bool takesLate;
    std::string stream;
};

/// The link that all inputs use, one after another: each ends with nothing under way.
inline Link& TheLink() {
    static Link link;
    return link;
}

/// Requires the peer to find exactly this, sent at once.
template <class Terminal>
void RequireSent(Terminal& terminal, const std::string& expected) {
    Require(terminal.Work() && !terminal.WorkPending(), "not sent at once");
    if (!expected.empty())  // reading nothing waits for something
        Require(TheLink().peer.Read(expected.size()) == expected, "something else is sent");
}

/// Has the terminal receive the stream in pieces, as the model does; `take` compares what both have. What is printed
/// must be the same, too.
template <class Terminal, class Model, class Take>
void DeliverToBoth(const TerminalInput& input, Terminal& terminal, Model& model, Take&& take) {
    DebugCapture capture;
    // Not too many pieces, each of which goes through the system.
    const size_t longest = input.cut * (1 + input.stream.size() / 64);
    const auto deliver = [&](const std::string& piece) {
        TheLink().Deliver(piece, terminal);
        model.Receive(piece);
        if (!input.takesLate)
            take();
    };
    InPieces(longest, input.stream, deliver, 4096);
    take();
    Require(capture.Lines() == model.printed, "other lines printed");
}

}  // namespace quarn::test
