/// Uses what has to work across the border of a shared library: an exception of the library and one of ours through its
/// frames, classes that derive from its classes, its template and inline code, and the simulated board.

#include <quarn/quarn.h>
#include <quarn/sim/SimulatedBoard.h>

#include <stdio.h>
#include <tinyxml2.h>

#include <atomic>
#include <stdexcept>

namespace {

int failures = 0;

void Expect(bool holds, const char* what) {
    if (!holds) {
        fprintf(stderr, "consumer: %s does not work\n", what);
        ++failures;
    }
}

class Greeter final : public quarn::Worker {
public:
    Greeter() : Worker(nullptr, "greeter") {}

    std::atomic<bool> greeted = false;

private:
    bool Work() override {
        greeted = true;
        return true;
    }
};

class Echo final : public quarn::Accessor {
public:
    std::set<std::string> GetConsoleCommands(bool) const override { return {"echo", "refuse"}; }
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override {
        if (command == "refuse")
            throw quarn::MonitorException("no %s", "thanks");
        return {words.begin(), words.end()};
    }
};

void TryExceptions() {
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

void TryAccessors() {
    quarn::Accessors accessors;
    Echo echo;
    accessors.Add(echo);
    Expect(accessors.Execute("echo a b") == std::list<std::string>{"a", "b", "\x04"}, "an accessor of ours");
    Expect(accessors.Execute("refuse") == std::list<std::string>{"no thanks", "\x04"},
           "an accessor that throws");
}

void TryWorker() {
    Greeter greeter;
    greeter.Start();
    greeter.Wake();
    const uint64_t began = quarn::Tick();
    while (!greeter.greeted && quarn::MillisecondsSince(began) < 10000)
        quarn::WorkerLock lock(&greeter);
    greeter.Stop();
    Expect(greeter.greeted, "a worker of ours");
}

void TryTheRest() {
    const std::vector<std::string> words = {"1", "0xFF"};
    Expect(quarn::ParseByteVector(words.begin(), words.end()) == std::vector<uint8_t>{1, 255}, "a template");
    Expect(quarn::VariantValue(uint32_t{7}).ToString() == "7", "a value");
    quarn::sim::SimulatedBoard board;
    board.AddDefaultDevices();
    Expect(board.Open("/dev/nothing", 0) < 0, "the simulated board");
    Expect(tinyxml2::XMLDocument().NoChildren(), "XML");
}

}  // namespace

int main() {
    TryExceptions();
    TryAccessors();
    TryWorker();
    TryTheRest();
    if (failures == 0)
        puts("everything works");
    return failures == 0 ? 0 : 1;
}
