#include <quarn/sim/SimulatedBoard.h>

#include "support/DebugCapture.h"
#include "support/TempDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace quarn::sim {
namespace {

using test::DebugCapture;
using test::TempDirectory;
using testing::ElementsAre;

TEST(BoardDescriptionTest, AddsWhatTheFileSays) {
    const TempDirectory folder;
    folder.Write("board.sim", R"(# What examples/board.conf does not look at.
[i2c]
i2c-1 0x50 eeprom 4096 32
[i2c-values]
i2c-1 0x50 4094 0xAB 0xCD
[gpio]
chip logic 16
chip "front panel" 2
wire logic 3 "front panel" 0
drive logic 3 1
hold logic 5 kernel
[memory]
0xA0000000 4096
counter 0xA0000800 1000
[storage]
eeprom /dev/eeprom 128
mtd persist 8192 4096 )" + folder.File("flash"));
    SimulatedBoard board;
    uint64_t now = 0;
    board.SetClock([&] { return now; });
    DebugCapture printed;
    board.Load(folder.File("board.sim"));
    EXPECT_THAT(printed.Lines(), testing::IsEmpty());
    EXPECT_EQ(board.I2CByte("i2c-1", 0x50, 4095), 0xCD);
    EXPECT_TRUE(board.LineLevel("front panel", 0));
    EXPECT_EQ(board.LineConsumer("logic", 5), "kernel");
    board.SetWord(0xA0000800, 0xFFFFFFF0);
    now = 2000000000;
    EXPECT_EQ(board.Word(0xA0000800), 2000u - 16);
    EXPECT_EQ(folder.Read("flash").size(), 8192u);
    EXPECT_EQ(board.FileSize("/dev/eeprom"), 128);
}

TEST(BoardDescriptionTest, SaysWhereTheFileIsWrongAndGoesOn) {
    const struct {
        const char* section;
        const char* line;
        const char* reason;
    } cases[] = {
        {"i2c", "i2c-1 0x80 registers 8", "Value \"0x80\" is not in the range 0..127"},
        {"i2c-rights", "i2c-1 0x20 9-x r", "SIM: bad register range \"9-x\""},
        {"i2c-values", "i2c-1 0x20 7 1 2", "SIM: the device has no byte 8"},
        {"spi", "spidev0.0 loopback 8",
         "SIM: a line of [spi] is one of \"NODE loopback\", \"NODE shift BYTES\""},
        {"gpio", "drive chip 4294967296 1", "Value \"4294967296\" is not in the range 0..4294967295"},
    };
    const TempDirectory folder;
    const std::string path = folder.File("board.sim");
    for (const auto& c : cases) {
        folder.Write("board.sim", "[i2c]\ni2c-1 0x20 registers 8\n[" + std::string(c.section) + "]\n" +
                                      c.line + "\n[spi]\nspidev9.9 loopback\n");
        SimulatedBoard board;
        DebugCapture printed;
        board.Load(path);
        EXPECT_THAT(printed.Lines(), ElementsAre(path + ":4: " + c.reason));
        EXPECT_EQ(board.I2CByte("i2c-1", 0x20, 7), 0);
        EXPECT_EQ(board.FileSize("/dev/spidev9.9"), 0) << "what follows is not there";
    }
}

}  // namespace
}  // namespace quarn::sim
