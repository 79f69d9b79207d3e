/// Uses what has to work across the border of a shared library: an exception of the library and one of ours through its
/// frames, a class that derives from one of its classes, its template and inline code, and the simulated board.

#include <quarn/quarn.h>
#include <quarn/sim/SimulatedBoard.h>

#include <stdio.h>
#include <tinyxml2.h>

#include <stdexcept>

namespace {

int failures = 0;

void Expect(bool holds, const char* what) {
    if (!holds) {
        fprintf(stderr, "consumer: %s does not work\n", what);
        ++failures;
    }
}

struct Refuser final : quarn::Accessor {
    std::set<std::string> GetConsoleCommands(bool) const override { return {"refuse"}; }
    std::list<std::string> Execute(const std::string&, const std::vector<std::string>& words) override {
        throw quarn::MonitorException("no %s", words.at(0).c_str());
    }
};

void TryExceptions() {
    quarn::Accessors accessors;
    Refuser refuser;
    accessors.Add(refuser);
    Expect(accessors.Execute("refuse thanks") == std::list<std::string>{"no thanks", "\x04"},
           "an accessor of ours that throws");
    try {
        quarn::ParseU32("12x", 0);
        Expect(false, "throwing");
    } catch (const quarn::MonitorException& e) {
        Expect(!e.Description().empty(), "catching what the library throws");
    }
    struct Ours : std::runtime_error {
        using runtime_error::runtime_error;
    };
    const quarn::VariantReference reference(
        quarn::VariantType::UINT32, []() -> quarn::VariantValue { throw Ours("ours"); }, nullptr);
    try {
        reference.ToString();
        Expect(false, "throwing through the library");
    } catch (const Ours&) {
    }
}

}  // namespace

int main() {
    TryExceptions();
    const std::vector<std::string> words = {"1", "0xFF"};
    Expect(quarn::ParseByteVector(words.begin(), words.end()) == std::vector<uint8_t>{1, 255}, "a template");
    quarn::sim::SimulatedBoard board;
    board.AddDefaultDevices();
    Expect(board.Open("/dev/nothing", 0) < 0, "the simulated board");
    Expect(tinyxml2::XMLDocument().NoChildren(), "XML");
    if (failures == 0)
        puts("everything works");
    return failures == 0 ? 0 : 1;
}
