#include <quarn/quarn.h>
#include <quarn/sim/SimulatedBoard.h>

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace quarn::test {
namespace {

// usage.txt holds what users are told, blanks included: behind each "> " a line of the console, then its response, each
// line of which ends with "|".
TEST(UsageTextsTest, AreWhatUsersAreTold) {
    sim::SimulatedBoard board;
    board.AddMemory(0xFF110000, 4096);
    board.AddTimer(0xFF110000);
    board.AddMemory(0xA0000000, 4096);
    VariableDictionary dictionary("board");
    VariableIndex index("board", dictionary);

    I2CAccess i2c(board);
    SPIAccess spi(board);
    RegisterAccess registers(board);
    GPIODirectAccess gpio("gpio", "gpio", board);
    GPIOIndirectAccess far(IPAddress("127.0.0.1"), 1, "far");
    MicrosecondClockHardware timer(0xFF110000, board);
    FpgaMicrosecondClock counter(0xA0000000, board);
    WorkerAccess workers;
    VariableAccess variables(index);
    Accessors accessors;
    for (Accessor* accessor : std::initializer_list<Accessor*>{&i2c, &spi, &registers, &gpio, &far, &timer,
                                                               &counter, &workers, &variables})
        accessors.Add(*accessor);

    std::ifstream file(QUARN_USAGE_TEXTS);
    const std::string expected{std::istreambuf_iterator<char>(file), {}};
    std::istringstream lines(expected);
    std::string shown;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("> "))
            continue;
        shown += line + "\n";
        std::list<std::string> response = accessors.Execute(line.substr(2));
        response.pop_back();
        for (const std::string& text : response)
            shown += text + "|\n";
    }
    EXPECT_EQ(shown, expected);
}

}  // namespace
}  // namespace quarn::test
