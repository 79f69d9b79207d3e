#include <quarn/I2CAccess.h>

#include "board/ConfiguredBoard.h"

#include <errno.h>
#include <stdlib.h>

namespace quarn::test {
namespace {

class I2CBoardTest : public testing::Test {
protected:
    /// What reading a register comes to when so many of the next transfers fail.
    std::string Failure(uint32_t count, int error) {
        SetModule("i2cmem/fail_errno", error);
        SetModule("i2cmem/fail_count", count);
        return ThrownMessage([&] { i2c_.ReadRegister("expander", 3); });
    }

    I2CAccess i2c_;
    ConfiguredBoard board_{{&i2c_},
                           "[i2c]\n"
                           "i2c-1 0x21 expander\n"
                           "i2c-1 0x33 absent\n"
                           "i2c-9 0x21 nowhere\n"
                           "i2c-1 0x50 eeprom\n"};
};

TEST_F(I2CBoardTest, MovesBytesAndRegistersFromProgramAndConsole) {
    EXPECT_THAT(board_.Complaints(),
                ElementsAre("board.conf:4: I2C: Could not open I2C bus device /dev/i2c-9: "
                            "No such file or directory"));
    i2c_.WriteRegister("eeprom", 0x11, 0x77);
    i2c_.WriteRegisters("expander", 0x10, {0x11, 0x22, 0x33, 0x44});
    i2c_.WriteRegister("expander", 0x12, 0xA5);
    EXPECT_EQ(i2c_.ReadRegister("expander", 0x11), 0x22);
    EXPECT_THAT(i2c_.ReadRegisters("expander", 0x10, 4), ElementsAre(0x11, 0x22, 0xA5, 0x44));
    i2c_.Write("expander", {0xFF, 0x01, 0x02});  // wraps
    i2c_.Write("expander", {0xFF});
    EXPECT_THAT(i2c_.Read("expander", 2), ElementsAre(0x01, 0x02));
    EXPECT_EQ(i2c_.ReadRegister("eeprom", 0x11), 0x77);  // another device on the same bus
    EXPECT_THAT(board_.Run("i2c expander 0x10-0x11"), ElementsAre("10: 11", "11: 22"));
}

TEST_F(I2CBoardTest, TellsOfAnAbsentDeviceAndRepeatsWhatABusyBusRefuses) {
    DebugCapture debug(DEBUG_ERR);
    EXPECT_EQ(ThrownMessage([&] { i2c_.Read("absent", 1); }),
              "I2C: error reading from i2c-1 (for absent): No such device or address");
    EXPECT_EQ(Failure(1, EIO),
              "I2C: error writing register address to i2c-1 (for expander): Input/output error");
    EXPECT_EQ(Failure(1, 0),  // a driver that moves nothing
              "I2C: wrote 0 of 1 byte of register address to i2c-1 (for expander)");
    EXPECT_THAT(debug.Lines(), IsEmpty());
    EXPECT_EQ(Failure(5, EAGAIN), "(nothing thrown)");
    EXPECT_EQ(
        Failure(6, EAGAIN),
        "I2C: error writing register address to i2c-1 (for expander): Resource temporarily unavailable");
    EXPECT_EQ(Failure(0, 0), "(nothing thrown)");
    const std::string retries = "I2C: 5 retries reading from i2c-1 (for expander)";
    EXPECT_THAT(debug.Lines(), ElementsAre(retries, retries));
}

TEST_F(I2CBoardTest, ADeviceThatADriverHasCannotBeSelected) {
    ASSERT_EQ(system("echo 24c02 0x50 >/sys/bus/i2c/devices/i2c-1/new_device"), 0);
    EXPECT_EQ(ThrownMessage([&] { i2c_.Read("eeprom", 1); }),
              "I2C: failed to set device address on i2c-1 (for eeprom)");
    EXPECT_EQ(ThrownMessage([&] { i2c_.Read("expander", 1); }), "(nothing thrown)");
    ASSERT_EQ(system("echo 0x50 >/sys/bus/i2c/devices/i2c-1/delete_device"), 0);
    EXPECT_EQ(ThrownMessage([&] { i2c_.Read("eeprom", 1); }), "(nothing thrown)");
}

}  // namespace
}  // namespace quarn::test
