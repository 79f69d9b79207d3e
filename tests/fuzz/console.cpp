// Lines of a console, one after another, executed by the accessors of a simulated board and of a daemon's variables.

#include <quarn/I2CAccess.h>
#include <quarn/VariableAccess.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariableIndex.h>
#include <quarn/WorkerAccess.h>

#include "fuzz/BoardAccessors.h"
#include "support/DebugCapture.h"

namespace quarn::test {
namespace {

struct Console : BoardAccessors {
    Console() {
        dictionary.Add(1, "rf.gain", VariantType::INT16);
        dictionary.Add(2, "rf.frequencies", VariantType::UINT32_VECTOR);
        index.Add(1, &gain, 1);
        index.Add(2, &frequencies, 1);
        accessors.Add(i2c);
        accessors.Add(variables);
        accessors.Add(workers);
        DebugCapture capture;
        Configure(
            "[i2c]\ni2c-0 0x21 expander\ni2c-1 0x50 eeprom\n[spi]\nspidev0.0 loop\nspidev0.1 shift\n"
            "[gpio]\nmain 0 1 out alias\nmain 1 in in\nmain 7:4 bi group\n"
            "[reg]\n0xA0000010 6:4 rw gain g\n0xA0000014 31 r locked\n0xA0000018 - - spare\n");
        Require(capture.Lines().empty(), "the configuration has a defect");
    }

    int16_t gain = 0;
    std::vector<uint32_t> frequencies;
    VariableDictionary dictionary{"fuzz"};
    VariableIndex index{"fuzz", dictionary};
    I2CAccess i2c{board};
    VariableAccess variables{index};
    WorkerAccess workers;
};

}  // namespace

void CheckInput(Input& input) {
    Console console;
    DebugCapture capture;
    const size_t held = console.board.Held();
    for (const std::string& line : SplitLines(input.Text())) {
        std::list<std::string> response = console.accessors.Execute(line);
        Require(response.back() == "\x04", "a response without end");
        response.pop_back();
        for (const std::string& text : response)
            Require(text != "\x04" && text.find('\n') == std::string::npos,
                    "an end, or two lines, within a response");
        Require(console.board.Held() == held, "something of the board is held, or was let go");
    }
}

}  // namespace quarn::test
