#include <quarn/I2CAccess.h>

#include "board/ConfiguredBoard.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <errno.h>
#include <stdlib.h>

namespace quarn::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kConfiguration[] =
    "[i2c]\n"
    "i2c-1 0x21 expander\n"
    "i2c-1 0x33 absent\n"
    "i2c-1 0x50 eeprom\n";

class I2CBoardTest : public testing::Test {
protected:
    /// The next so many transfers fail.
    static void FailNext(uint32_t count, int error) {
        SetModule("i2cmem/fail_errno", error);
        SetModule("i2cmem/fail_count", count);
    }

    I2CAccess i2c_;
    ConfiguredBoard board_{{&i2c_}, kConfiguration};
};

TEST_F(I2CBoardTest, MovesBytesAndRegistersFromProgramAndConsole) {
    EXPECT_THAT(board_.Complaints(), IsEmpty());
    i2c_.WriteRegister("eeprom", 0x11, 0x77);
    i2c_.WriteRegisters("expander", 0x10, {0x11, 0x22, 0x33, 0x44});
    i2c_.WriteRegister("expander", 0x12, 0xA5);
    EXPECT_EQ(i2c_.ReadRegister("expander", 0x11), 0x22);
    EXPECT_THAT(i2c_.ReadRegisters("expander", 0x10, 4), ElementsAre(0x11, 0x22, 0xA5, 0x44));
    i2c_.Write("expander", {0xFF, 0x01, 0x02});  // wraps
    i2c_.Write("expander", {0xFF});
    EXPECT_THAT(i2c_.Read("expander", 2), ElementsAre(0x01, 0x02));
    EXPECT_EQ(i2c_.ReadRegister("eeprom", 0x11), 0x77);  // another device on the same bus

    EXPECT_THAT(board_.Run("i2c expander 0x10 7 8"), ElementsAre("wrote 2 bytes"));
    EXPECT_THAT(board_.Run("i2c expander 0x10-0x12"), ElementsAre("10: 07", "11: 08", "12: A5"));
}

TEST_F(I2CBoardTest, AnAbsentDeviceIsAnErrorThatLeavesTheBusToOthers) {
    EXPECT_EQ(ThrownMessage([&] { i2c_.Read("absent", 1); }),
              "I2C: error reading from i2c-1 (for absent): No such device or address");
    EXPECT_EQ(ThrownMessage([&] { i2c_.WriteRegister("absent", 1, 2); }),
              "I2C: error writing to i2c-1 (for absent): No such device or address");
    EXPECT_THAT(board_.Run("i2c absent 5"),
                ElementsAre("I2C: error writing register address to i2c-1 (for absent): "
                            "No such device or address"));
    EXPECT_EQ(ThrownMessage([&] { i2c_.Read("expander", 1); }), "(nothing thrown)");

    I2CAccess other;
    const ConfiguredBoard missing({&other}, "[i2c]\ni2c-9 0x21 a\ni2c-1 0x80 b\ni2c-1 0x21 c\n");
    EXPECT_THAT(
        missing.Complaints(),
        ElementsAre("board.conf:2: I2C: Could not open I2C bus device /dev/i2c-9: No such file or directory",
                    "board.conf:3: I2C: bad 7-bit device address"));
    EXPECT_EQ(ThrownMessage([&] { other.Read("c", 1); }), "(nothing thrown)");
}

TEST_F(I2CBoardTest, ABusyBusIsTriedSixTimesInAll) {
    i2c_.WriteRegister("expander", 3, 0x5A);
    const struct {
        uint32_t busy, transfers;  // the read and its register's address are two
        const char* retries;
        const char* failure;
    } cases[] = {
        {0, 2, "", "(nothing thrown)"},
        {1, 3, "I2C: 1 retry reading from i2c-1 (for expander)", "(nothing thrown)"},
        {5, 7, "I2C: 5 retries reading from i2c-1 (for expander)", "(nothing thrown)"},
        {6, 6, "I2C: 5 retries reading from i2c-1 (for expander)",
         "I2C: error writing register address to i2c-1 (for expander): Resource temporarily unavailable"},
    };
    for (const auto& c : cases) {
        DebugCapture debug(DEBUG_ERR);
        const uint32_t before = ReadModule("i2cmem/transfers");
        FailNext(c.busy, EAGAIN);
        uint8_t value = 0x5A;
        EXPECT_EQ(ThrownMessage([&] { value = i2c_.ReadRegister("expander", 3); }), c.failure);
        EXPECT_EQ(value, 0x5A);
        EXPECT_EQ(ReadModule("i2cmem/transfers") - before, c.transfers) << c.busy;
        EXPECT_EQ(debug.Count(c.retries), *c.retries ? 1u : 0u) << c.busy;
    }
    FailNext(1, EIO);  // not tried again
    EXPECT_EQ(ThrownMessage([&] { i2c_.Read("expander", 1); }),
              "I2C: error reading from i2c-1 (for expander): Input/output error");
    FailNext(1, 0);  // a driver that moves nothing
    EXPECT_EQ(ThrownMessage([&] {
                  i2c_.Write("expander", {1, 2});
              }),
              "I2C: wrote 0 of 2 bytes to i2c-1 (for expander)");
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
