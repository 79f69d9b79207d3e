#include <quarn/GPIODirectAccess.h>

#include "board/ConfiguredBoard.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quarn::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Line N of chip b drives line N of chip a. The registers behind them:
constexpr uint64_t kLevelsOfA = 0x1F000010;  // what b puts out
constexpr uint64_t kLevelsOfB = 0x1F000020;  // what the outside puts on b

uint32_t Bits(uint64_t address, uint32_t high, uint32_t low) {
    return (ReadPhysical(address) >> low) & ((2u << (high - low)) - 1);
}

TEST(GPIOBoardTest, GroupsDriveLinesThatTheOtherChipSees) {
    GPIODirectAccess gpio("gpio", "gpio");
    ConfiguredBoard board({&gpio},
                          "[gpio]\n"
                          "1f000000.pins:b 7:4 0xA mux m\n"
                          "1f000000.pins:a 7:4 in seen\n"
                          "1f000000.pins:a 4,5,7,6 in mixed\n"
                          "1f000000.pins:a 8,4 in overlap\n"
                          "1f000000.pins:b 8 1 led\n");
    // The lines of "seen" are taken, so the other two signals on them are refused.
    EXPECT_THAT(board.Complaints(),
                ElementsAre("board.conf:4: GPIO attempt to add duplicate line 1f000000.pins:a/4",
                            "board.conf:5: GPIO attempt to add duplicate line 1f000000.pins:a/4"));
    EXPECT_EQ(Bits(kLevelsOfA, 8, 4), 0x1Au);
    for (const uint32_t value : {0x5u, 0xFu, 0x8u, 0x1u, 0x0u, 0xCu}) {
        gpio.Set("mux", value);
        EXPECT_EQ(Bits(kLevelsOfA, 7, 4), value);
        EXPECT_EQ(gpio.Get("seen"), value);
        EXPECT_EQ(gpio.Get("m"), value);
    }
    EXPECT_EQ(Bits(kLevelsOfA, 8, 8), 1u);
    EXPECT_THAT(board.Run("gpio m 3"), ElementsAre("m set to 3"));
    EXPECT_THAT(board.Run("gpio list"),
                ElementsAre("name  chip             line(s)  dir    value  aliases  ",
                            "mux   1f000000.pins:b  7:4      out    0x3    m        ",
                            "seen  1f000000.pins:a  7:4      in     0x3             ",
                            "led   1f000000.pins:b  8        out    0x1             "));
}

TEST(GPIOBoardTest, TheFirstLineOfAGroupIsTheMostSignificantOne) {
    GPIODirectAccess gpio("gpio", "gpio");
    const ConfiguredBoard board({&gpio},
                                "[gpio]\n"
                                "1f000000.pins:b 9,12,10 6 scattered\n"
                                "1f000000.pins:a 12,10,9 in rotated\n");
    EXPECT_THAT(board.Complaints(), IsEmpty());
    EXPECT_EQ(Bits(kLevelsOfA, 12, 9), 0b1001u);
    EXPECT_EQ(gpio.Get("rotated"), 0b101u);
    gpio.Set("scattered", 0b001);
    EXPECT_EQ(gpio.Get("rotated"), 0b010u);
}

TEST(GPIOBoardTest, ABidirectionalSignalIsDrivenUntilItIsRead) {
    GPIODirectAccess gpio("gpio", "gpio");
    ConfiguredBoard board({&gpio}, "[gpio]\n1f000000.pins:b 15:14 bi option\n");
    WritePhysical(kLevelsOfB, 2u << 14);
    EXPECT_EQ(gpio.Get("option"), 2u);
    gpio.Set("option", 1);
    EXPECT_EQ(Bits(kLevelsOfA, 15, 14), 1u);
    EXPECT_THAT(board.Run("gpio option"), ElementsAre("name    dir    value  ", "option  out*   0x2    "));
    EXPECT_THAT(board.Run("gpio option"), ElementsAre("name    dir    value  ", "option  in*    0x2    "));
    WritePhysical(kLevelsOfB, 3u << 14);
    EXPECT_EQ(gpio.Get("option"), 3u);
    gpio.Set("option", 2);
    gpio.Set("option", 1);
    EXPECT_EQ(Bits(kLevelsOfA, 15, 14), 1u);
}

TEST(GPIOBoardTest, WhatIsHeldOrNotThereIsRefusedAndTheRestServes) {
    GPIODirectAccess holder("held", "held");
    const ConfiguredBoard first({&holder}, "[held]\n1f000000.pins:b 20 1 reset\n");
    GPIODirectAccess gpio("gpio", "gpio");
    const ConfiguredBoard second({&gpio},
                                 "[gpio]\n"
                                 "1f000000.pins:b 21,20 in taken\n"
                                 "1f000000.pins:b 28 0 clock\n"
                                 "1f000000.pins:c 1 in nowhere\n"
                                 "1f000000.pins:b 21 1 free\n");
    EXPECT_THAT(second.Complaints(),
                ElementsAre("board.conf:2: GPIO: could not request lines 21,20 on 1f000000.pins:b: "
                            "Device or resource busy",
                            "board.conf:3: GPIO: could not request line 28 on 1f000000.pins:b: "
                            "Device or resource busy",
                            "board.conf:4: GPIO: no chip found with label \"1f000000.pins:c\""));
    EXPECT_EQ(Bits(kLevelsOfA, 21, 20), 3u);
    EXPECT_EQ(ThrownMessage([&] { gpio.Get("taken"); }), "GPIO: unknown signal taken");
}

}  // namespace
}  // namespace quarn::test
