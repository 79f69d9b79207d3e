// What a line terminal receives, and sends back.

#include <quarn/LineTerminal.h>

#include "fuzz/TerminalFuzz.h"

namespace quarn::test {
namespace {

struct Model {
    void Receive(const std::string& piece) {
        partial += piece;
        if (partial.size() > 65535) {
            printed.push_back("RX partial line for \"c\" is full; clearing (traffic lost)");
            partial.clear();
        }
        for (size_t end; (end = partial.find('\n')) != std::string::npos; partial.erase(0, end + 1)) {
            std::string line = partial.substr(0, end);
            while (!line.empty() && isspace(static_cast<unsigned char>(line.back())))
                line.pop_back();
            lines.push_back(line);
            if (lines.size() > 1023) {
                printed.push_back("RX line backlog for \"c\" is full; clearing (traffic lost)");
                lines.clear();
            }
        }
    }

    std::string partial;
    Lines lines, printed;
};

}  // namespace

void CheckInput(Input& input) {
    LineTerminal terminal(*TheLink().connection);
    Model model;
    DeliverToBoth(TerminalInput(input), terminal, model, [&] {
        Lines got;
        for (std::string line; terminal.Get(line); got.push_back(line))
            terminal.Put(line);
        Require(got == model.lines, "other lines");
        std::string answer;
        for (const std::string& line : std::exchange(model.lines, {}))
            answer += line + "\n";
        RequireSent(terminal, answer);
    });
}

}  // namespace quarn::test
