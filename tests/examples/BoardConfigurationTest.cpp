#include <quarn/quarn.h>
#include <quarn/sim/SimulatedBoard.h>

#include "support/DebugCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>

#include <initializer_list>
#include <list>
#include <string>
#include <utility>

namespace quarn {
namespace {

using testing::ElementsAreArray;

using Lines = std::list<std::string>;

constexpr char kConfiguration[] = QUARN_EXAMPLES "/board.conf";

/// The example configuration, the board that it is for, and what its comments say.
TEST(BoardConfigurationTest, FitsTheBuiltInBoard) {
    sim::SimulatedBoard board;
    board.AddDefaultDevices();
    EXPECT_GE(board.Open("/dev/mtd0", O_RDWR), 0);
    const MicrosecondClockHardware clock(0xFF110000, board);
    I2CAccess i2c(board);
    SPIAccess spi(board);
    GPIODirectAccess gpio("gpio", "gpio", board);
    RegisterAccess registers(board);
    Accessors accessors;
    for (Accessor* accessor : std::initializer_list<Accessor*>{&i2c, &spi, &gpio, &registers})
        accessors.Add(*accessor);
    {
        test::DebugCapture complaints;
        accessors.Configure(kConfiguration);
        EXPECT_THAT(complaints.Lines(), testing::IsEmpty());
    }

    const std::pair<const char*, Lines> console[] = {
        {"i2c identity w 0 64 7", {"wrote 3 bytes"}},
        {"spi converter 0x12 0x34", {"0x12 0x34"}},
        {"spi meters 1 2 3 r 3", {"0x01 0x02 0x03"}},
        {"gpio list",
         {"name         chip       line(s)  dir    value  aliases  ",
          "led          processor  0        out    0x1    power    ",
          "button       processor  3        in     0x1             ",
          "reset        processor  7        out    0x0             ",
          "reset.logic  logic      15       in     0x0             ",
          "antenna      logic      8        in     0x1             ",
          "attenuator   logic      11:9     out    0x5    att      ",
          "bus.echo     logic      7:4      in     0x0             ",
          "bus          logic      3:0      in*    0x0    data     "}},
        {"reg *",
         {"name       value       aliases  ", "version    0x20260301           ",
          "rf.gain    0x7         gain     ", "rf.mute    0x0         mute     ",
          "rf.locked  0x1                  ", "rf.spare                        "}},
    };
    for (const auto& [line, response] : console) {
        Lines expected = response;
        expected.push_back("\x04");
        EXPECT_THAT(accessors.Execute(line), ElementsAreArray(expected)) << line;
    }
}

}  // namespace
}  // namespace quarn
