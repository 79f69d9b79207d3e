// What a character terminal receives, and sends back.

#include <quarn/CharacterTerminal.h>

#include "fuzz/TerminalFuzz.h"

namespace quarn::test {
namespace {

struct Model {
    void Receive(const std::string& piece) {
        received += piece;
        if (received.size() < 16384)
            return;
        printed.push_back("RX backlog for \"c\" is full; clearing (traffic lost)");
        received.clear();
    }

    std::string received;
    Lines printed;
};

}  // namespace
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn::test;
    Input bytes(data, size);
    const TerminalInput input(bytes);
    DebugCapture capture;
    quarn::CharacterTerminal terminal(*TheLink().connection);
    Model model;
    DeliverToBoth(input, terminal, model, [&] {
        std::vector<char> got;
        Require(terminal.Get(got) == !model.received.empty(),
                "nothing where there is something, or the reverse");
        Require(std::string(got.begin(), got.end()) == model.received, "other characters");
        model.received.clear();
        terminal.Put(got);
        Require(terminal.Work() && !terminal.WorkPending(), "not sent at once");
        Require(ReadSent(got.size()) == std::string(got.begin(), got.end()), "other characters sent");
    });
    Require(capture.Lines() == model.printed, "other lines printed");
    return 0;
}
