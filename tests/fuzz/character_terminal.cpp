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

void CheckInput(Input& input) {
    CharacterTerminal terminal(*TheLink().connection);
    Model model;
    DeliverToBoth(TerminalInput(input), terminal, model, [&] {
        std::vector<char> got;
        Require(terminal.Get(got) == !model.received.empty(),
                "nothing where there is something, or the reverse");
        Require(std::string(got.begin(), got.end()) == model.received, "other characters");
        terminal.Put(got);
        RequireSent(terminal, model.received);
        model.received.clear();
    });
}

}  // namespace quarn::test
