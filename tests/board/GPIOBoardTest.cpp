#include <quarn/GPIODirectAccess.h>

#include "board/ConfiguredBoard.h"

namespace quarn::test {
namespace {

// Line N of chip b drives line N of chip a. The registers behind them:
constexpr uint64_t kLevelsOfA = 0x1F000010;  // what b puts out
constexpr uint64_t kLevelsOfB = 0x1F000020;  // what the outside puts on b

uint32_t Bits(uint32_t high, uint32_t low) {
    return (Physical(kLevelsOfA) >> low) & ((2u << (high - low)) - 1);
}

TEST(GPIOBoardTest, SignalsDriveLinesThatTheOtherChipSees) {
    GPIODirectAccess gpio("gpio", "gpio");
    ConfiguredBoard board({&gpio},
                          "[gpio]\n"
                          "1f000000.pins:b 7:4 0xA mux m\n"
                          "1f000000.pins:a 7:4 in seen\n"
                          "1f000000.pins:b 9,12,10 6 scattered\n"
                          "1f000000.pins:b 15:14 bi option\n"
                          "1f000000.pins:a 12,10,9 in rotated\n");
    EXPECT_THAT(board.Complaints(), IsEmpty());
    EXPECT_EQ(Bits(7, 4), 0xAu);
    for (const uint32_t value : {0x5u, 0xFu, 0x8u, 0x1u, 0x0u, 0xCu}) {
        gpio.Set("mux", value);
        EXPECT_EQ(Bits(7, 4), value);
        EXPECT_EQ(gpio.Get("seen"), value);
    }
    // The first line is the most significant one.
    EXPECT_EQ(Bits(12, 9), 0b1001u);
    EXPECT_EQ(gpio.Get("rotated"), 0b101u);
    EXPECT_THAT(board.Run("gpio m 3"), ElementsAre("m set to 3"));
    // A bidirectional signal is driven until it is read.
    Physical(kLevelsOfB) = 2u << 14;
    EXPECT_EQ(gpio.Get("option"), 2u);
    gpio.Set("option", 1);
    EXPECT_EQ(Bits(15, 14), 1u);
    EXPECT_EQ(gpio.Get("option"), 2u);
}

TEST(GPIOBoardTest, WhatIsHeldOrNotThereIsRefusedAndTheRestServes) {
    GPIODirectAccess holder("held", "held"), gpio("gpio", "gpio");
    const ConfiguredBoard board({&holder, &gpio},
                                "[held]\n"
                                "1f000000.pins:b 20 1 reset\n"
                                "[gpio]\n"
                                "1f000000.pins:b 21,20 in taken\n"
                                "1f000000.pins:b 28 0 clock\n"
                                "1f000000.pins:c 1 in nowhere\n"
                                "1f000000.pins:b 21 1 free\n");
    EXPECT_THAT(board.Complaints(),
                ElementsAre("board.conf:4: GPIO: could not request lines 21,20 on 1f000000.pins:b: "
                            "Device or resource busy",
                            "board.conf:5: GPIO: could not request line 28 on 1f000000.pins:b: "
                            "Device or resource busy",
                            "board.conf:6: GPIO: no chip found with label \"1f000000.pins:c\""));
    EXPECT_EQ(Bits(21, 20), 3u);
}

}  // namespace
}  // namespace quarn::test
