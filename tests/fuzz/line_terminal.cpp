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
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn::test;
    Input bytes(data, size);
    const TerminalInput input(bytes);
    DebugCapture capture;
    quarn::LineTerminal terminal(*TheLink().connection);
    Model model;
    uint64_t taken = 0;
    DeliverToBoth(input, terminal, model, [&] {
        Lines got;
        for (std::string line; terminal.Get(line); got.push_back(line))
            terminal.Put(line);
        Require(got == model.lines, "other lines");
        std::string expected;
        for (const std::string& line : model.lines)
            expected += line + "\n";
        model.lines.clear();
        Require(terminal.Work() && !terminal.WorkPending(), "not sent at once");
        uint64_t sent = 0;
        terminal.GetCharacterCounts(nullptr, &sent);
        Require(sent - taken == expected.size(), "another number of characters sent");
        Require(ReadSent(expected.size()) == expected, "other lines sent");
        taken = sent;
    });
    uint64_t received = 0;
    terminal.GetCharacterCounts(&received, nullptr);
    Require(received == input.Stream().size(), "another number of characters received");
    Require(capture.Lines() == model.printed, "other lines printed");
    return 0;
}
