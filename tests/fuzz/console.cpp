// Lines of a console, one after another, executed by the accessors of a simulated board and of a daemon's variables.

#include <quarn/VariableAccess.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariableIndex.h>
#include <quarn/WorkerAccess.h>

#include "fuzz/BoardAccessors.h"
#include "fuzz/Fuzz.h"
#include "support/DebugCapture.h"

namespace quarn::test {
namespace {

class Console {
public:
    Console() {
        dictionary_.Add(1, "rf.gain", VariantType::INT16);
        dictionary_.Add(2, "rf.frequencies", VariantType::UINT32_VECTOR);
        dictionary_.Add(3, "name", VariantType::STRING);
        dictionary_.Add(4, "mute", VariantType::BOOLEAN);
        index_.Add(1, &gain_, 1);
        index_.Add(2, &frequencies_, 1);
        index_.Add(3, &name_, 0);
        index_.Add(4, &mute_, 2);
        unit.accessors.Add(variables_);
        unit.accessors.Add(workers_);
        DebugCapture capture;
        unit.Configure(
            "[i2c]\ni2c-0 0x21 expander\ni2c-1 0x50 eeprom\n[spi]\nspidev0.0 loop\nspidev0.1 shift\n"
            "[gpio]\nmain 0 1 out alias\nmain 1 in in\nmain 7:4 bi group\n"
            "[reg]\n0xA0000010 6:4 rw gain g\n0xA0000014 31 r locked\n0xA0000018 - - spare\n");
        Require(capture.Lines().empty(), "the configuration has a defect");
    }

    BoardAccessors unit;

private:
    int16_t gain_ = 0;
    std::vector<uint32_t> frequencies_;
    std::string name_;
    bool mute_ = false;
    VariableDictionary dictionary_{"fuzz"};
    VariableIndex index_{"fuzz", dictionary_};
    VariableAccess variables_{index_};
    WorkerAccess workers_;
};

}  // namespace
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn::test;
    Console console;
    DebugCapture capture;
    const auto help = console.unit.accessors.Execute("help");
    const size_t held = console.unit.board.Held();
    for (const std::string& line : SplitLines(Input(data, size).Text())) {
        std::list<std::string> response = console.unit.accessors.Execute(line);
        Require(response.back() == "\x04", "a response without end");
        response.pop_back();
        for (const std::string& text : response)
            Require(text != "\x04" && text.find('\n') == std::string::npos,
                    "an end, or two lines, within a response");
        Require(console.unit.board.Held() == held, "something of the board is held, or was let go");
    }
    Require(console.unit.accessors.Execute("help") == help, "other commands than before");
    return 0;
}
