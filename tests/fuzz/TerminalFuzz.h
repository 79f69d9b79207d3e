#pragma once

#include "connections/Loopback.h"
#include "fuzz/Fuzz.h"
#include "support/DebugCapture.h"

namespace quarn::test {

/// What a terminal's peer sends: byte 0 of an input cuts it into pieces, bit 0 of byte 1 has what arrives taken only at
/// the end, and byte 2 is how often the rest is repeated.
struct TerminalInput {
    explicit TerminalInput(Input& input)
        : cut(input.Byte()),
          takesLate((input.Byte() & 1) != 0),
          repeats(Repeats(input.Byte())),
          text(input.Text()) {}

    /// Seldom more than once, which is slow, but often enough to fill a backlog.
    static size_t Repeats(uint8_t code) { return code < 0xF0 ? 1 : 2 * (code - 0xEEU); }

    std::string Stream() const {
        std::string stream;
        for (size_t i = 0; i < repeats; ++i)
            stream += text;
        return stream;
    }

    const uint8_t cut;
    const bool takesLate;
    const size_t repeats;
    const std::string text;
};

/// The link that all inputs use, one after another: each ends with nothing under way.
inline Link& TheLink() {
    static Link link;
    return link;
}

/// What the peer finds of `length` characters that were sent.
inline std::string ReadSent(size_t length) {
    return length == 0 ? "" : TheLink().peer.Read(length);  // reading nothing waits for something
}

/// Has the terminal receive the stream in pieces, as the model does; `take` compares what both have.
template <class Terminal, class Model, class Take>
void DeliverToBoth(const TerminalInput& input, Terminal& terminal, Model& model, Take&& take) {
    const std::string stream = input.Stream();
    // Not too many pieces, each of which goes through the system.
    InPieces(uint32_t(input.cut * (1 + stream.size() / 64)), stream, [&](const std::string& piece) {
        for (size_t start = 0; start < piece.size(); start += 4096) {
            TheLink().Deliver(piece.substr(start, 4096), terminal);
            model.Receive(piece.substr(start, 4096));
            if (!input.takesLate)
                take();
        }
    });
    take();
}

}  // namespace quarn::test
