/// Uses what has to work across the border of a shared library: an exception of the library and one of ours through its
/// frames, a class that derives from one of its classes, its template and inline code, and the simulated board.

#include <quarn/quarn.h>
#include <quarn/sim/SimulatedBoard.h>

#include <stdio.h>
#include <tinyxml2.h>

#include <algorithm>

struct Ours : std::exception {};

struct Refuser final : quarn::Accessor {
    std::set<std::string> GetConsoleCommands(bool) const override { return {"refuse"}; }
    std::list<std::string> Execute(const std::string&, const std::vector<std::string>& words) override {
        throw quarn::MonitorException("no %s", words.at(0).c_str());
    }
};

template <class Exception, class Call>
bool Throws(Call&& call) {
    try {
        call();
    } catch (const Exception&) {
        return true;
    }
    return false;
}

int main() {
    quarn::Accessors accessors;
    Refuser refuser;
    accessors.Add(refuser);
    const quarn::VariantReference reference(
        quarn::VariantType::UINT32, []() -> quarn::VariantValue { throw Ours(); }, nullptr);
    const std::vector<std::string> words = {"1", "0xFF"};
    quarn::sim::SimulatedBoard board;
    board.AddDefaultDevices();
    const std::pair<const char*, bool> checks[] = {
        {"an accessor of ours that throws",
         accessors.Execute("refuse thanks") == std::list<std::string>{"no thanks", "\x04"}},
        {"catching what the library throws",
         Throws<quarn::MonitorException>([] { quarn::ParseU32("12x", 0); })},
        {"throwing through the library", Throws<Ours>([&] { reference.ToString(); })},
        {"a template", quarn::ParseByteVector(words.begin(), words.end()) == std::vector<uint8_t>{1, 255}},
        {"the simulated board", board.Open("/dev/nothing", 0) < 0},
        {"XML", tinyxml2::XMLDocument().NoChildren()}};
    const auto broken = std::ranges::find(checks, false, &std::pair<const char*, bool>::second);
    if (broken == std::end(checks))
        return puts("everything works") < 0;
    fprintf(stderr, "consumer: %s does not work\n", broken->first);
    return 1;
}
