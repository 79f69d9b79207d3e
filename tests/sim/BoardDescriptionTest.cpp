#include <quarn/Accessors.h>
#include <quarn/MicrosecondClockHardware.h>
#include <quarn/sim/SimulatedBoard.h>

#include "sim/BoardCalls.h"
#include "support/DebugCapture.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>

#include <string>
#include <vector>

namespace quarn::sim {
namespace {

using test::DebugCapture;
using test::TempDirectory;
using test::ThrownMessage;
using testing::ElementsAre;

TEST(BoardDescriptionTest, AddsWhatTheFileSays) {
    const TempDirectory folder;
    folder.Write("board.sim",
                 "# A board.\n"
                 "[i2c]\n"
                 "i2c-1 0x21 registers 8\n"
                 "i2c-1 0x50 eeprom 4096 32\n"
                 "[i2c-rights]\n"
                 "i2c-1 0x21 2-3 r\n"
                 "i2c-1 0x21 4 -\n"
                 "[i2c-values]\n"
                 "i2c-1 0x21 2 0xAB 0xCD\n"
                 "i2c-1 0x50 4095 7\n"
                 "[spi]\n"
                 "spidev0.0 loopback\n"
                 "spidev0.1 shift 2\n"
                 "[gpio]\n"
                 "chip logic 16\n"
                 "chip \"front panel\" 2\n"
                 "drive logic 3 1\n"
                 "wire logic 3 \"front panel\" 0\n"
                 "hold logic 5 kernel\n"
                 "[memory]\n"
                 "0xA0000000 8192\n"
                 "word 0xA0001000 0xFFFFFFFF\n"
                 "counter 0xA0000800 1000\n"
                 "timer 0xA0000000\n"
                 "[storage]\n"
                 "mtd persist 8192 4096 \"" +
                     folder.File("flash") +
                     "\"\n"
                     "eeprom /dev/eeprom 128\n");
    SimulatedBoard board;
    uint64_t now = 0;
    board.SetClock([&] { return now; });
    DebugCapture printed;
    board.Load(folder.File("board.sim"));
    EXPECT_THAT(printed.Lines(), testing::IsEmpty());

    EXPECT_EQ(board.I2CByte("i2c-1", 0x21, 3), 0xCD);
    EXPECT_EQ(board.I2CByte("i2c-1", 0x50, 4095), 7);
    EXPECT_EQ(ThrownMessage([&] { board.I2CByte("i2c-1", 0x21, 8); }), "SIM: the device has no byte 8");
    EXPECT_TRUE(board.LineLevel("front panel", 0));
    EXPECT_FALSE(board.LineLevel("front panel", 1));
    EXPECT_EQ(board.LineConsumer("logic", 5), "kernel");
    EXPECT_EQ(board.Word(0xA0001000), 0xFFFFFFFFu);
    now = 2000000000;
    EXPECT_EQ(board.Word(0xA0000800), 2000u);
    const MicrosecondClockHardware clock(0xA0000000, board);
    now += 5000;
    EXPECT_EQ(clock.GetMicrosecondClock(), 5u);
    EXPECT_EQ(folder.Read("flash").size(), 8192u);
    EXPECT_EQ(board.FileSize("/dev/eeprom"), 128);
    for (const char* node : {"/dev/spidev0.0", "/dev/spidev0.1", "/dev/mtd0"})
        EXPECT_EQ(board.FileSize(node), 0) << node;
}

TEST(BoardDescriptionTest, SaysWhereTheFileIsWrongAndGoesOn) {
    const struct {
        const char* section;
        const char* line;
        const char* reason;
    } cases[] = {
        {"i2c", "i2c-1 0x21 registers",
         "SIM: a line of [i2c] is one of \"BUS ADDRESS registers COUNT\", \"BUS ADDRESS eeprom SIZE PAGE\""},
        {"i2c", "i2c-1 0x80 registers 8", "Value \"0x80\" is not in the range 0..127"},
        {"i2c-rights", "i2c-1 0x20 9-x r", "SIM: bad register range \"9-x\""},
        {"i2c-rights", "i2c-1 0x20 0-9 r", "SIM: no registers 0x00-0x09"},
        {"i2c-values", "i2c-1 0x20 6 256", "Value \"256\" is not in the range 0..255"},
        {"spi", "spidev0.0 loopback 8",
         "SIM: a line of [spi] is one of \"NODE loopback\", \"NODE shift BYTES\""},
        {"gpio", "drive chip 0 2", "Value \"2\" is not in the range 0..1"},
        {"gpio", "drive chip 4294967296 1", "Value \"4294967296\" is not in the range 0..4294967295"},
        {"memory", "0xA0000000 x", "Could not convert \"x\" to uint64"},
        {"memory", "timer 0xA0000000", "SIM: no word at 0xA0000000"},
        {"storage", "eeprom /dev/eeprom 8 a b",
         "SIM: a line of [storage] is one of \"mtd NAME SIZE ERASE-SIZE [FILE]\", \"eeprom PATH SIZE "
         "[FILE]\""},
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
        EXPECT_EQ(board.I2CByte("i2c-1", 0x20, 6), 0);
        EXPECT_EQ(board.FileSize("/dev/spidev9.9"), 0) << "what follows is not there";
    }
    SimulatedBoard board;
    EXPECT_EQ(ThrownMessage([&] { board.Load(folder.File("none")); }),
              "Could not open " + folder.File("none") + " for reading");
}

TEST(BoardDescriptionTest, TheBuiltInBoardIsComplete) {
    SimulatedBoard board;
    board.AddDefaultDevices();
    EXPECT_EQ(board.I2CByte("i2c-0", 0x10, 1), 0x02);
    EXPECT_TRUE(board.LineLevel("processor", 3));
    EXPECT_EQ(board.FileSize("/dev/spidev1.0"), 0);
    const MicrosecondClockHardware clock(0xFF110000, board);
    EXPECT_EQ(board.Word(0xA0000000), 0x20260301u);
    EXPECT_GE(board.Open("/dev/mtd0", O_RDWR), 0);  // added by the last section but one line
}

}  // namespace
}  // namespace quarn::sim
