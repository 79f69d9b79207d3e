#include <quarn/SPIAccess.h>

#include "board/ConfiguredBoard.h"

namespace quarn::test {
namespace {

/// The level that the bus left its sending line at: line 29 of a GPIO chip.
bool IsSending() {
    return (Physical(0x1F000010) >> 29) & 1;
}

// What is sent on either node comes back.
TEST(SPIBoardTest, TransactsInEveryMode) {
    SPIAccess spi;
    ConfiguredBoard board({&spi}, "[spi]\nspidev0.0 dac\nspidev9.0 a\nmem b\nspidev0.1 flash\n");
    EXPECT_THAT(board.Complaints(),
                ElementsAre("board.conf:3: SPI: Could not open SPI node device /dev/spidev9.0: "
                            "No such file or directory",
                            "board.conf:4: SPI get mode failed on mem: Inappropriate ioctl for device"));
    const std::vector<uint8_t> sent = {0x01, 0x80, 0xFF, 0x00, 0x5A, 0xA5};
    for (const uint8_t mode : std::vector<uint8_t>{3, 2, 1, 0}) {
        spi.SetSpiMode("dac", mode);
        EXPECT_EQ(spi.GetSpiMode("dac") & 3, mode);
        EXPECT_EQ(spi.Transact("dac", sent), sent);
    }
    // Nothing is sent while it reads; what is sent before shows on the line by its last bit.
    EXPECT_THAT(spi.Transact3Wire("dac", {0x9F, 0xFE, 0xFF}, 0), IsEmpty());
    EXPECT_TRUE(IsSending());
    EXPECT_THAT(spi.Transact3Wire("dac", {0x9F, 0xFF}, 3), ElementsAre(0, 0, 0));
    EXPECT_FALSE(IsSending());
    EXPECT_THAT(spi.Transact3Wire("dac", {}, 2), ElementsAre(0, 0));
    EXPECT_THAT(board.Run("spi flash 0x12 255"), ElementsAre("0x12 0xFF"));

    const std::vector<uint8_t> longest(4096, 0x96), tooLong(4097, 0x96);
    EXPECT_EQ(spi.Transact("dac", longest), longest);
    EXPECT_EQ(ThrownMessage([&] { spi.Transact("dac", tooLong); }),
              "SPI transaction failed on spidev0.0: Message too long");
}

TEST(SPIBoardTest, AModeStaysWithItsNode) {
    constexpr char kConfiguration[] = "[spi]\nspidev0.0 dac\nspidev0.1 flash\n";
    {
        SPIAccess spi;
        const ConfiguredBoard board({&spi}, kConfiguration);
        spi.SetSpiMode("flash", 3);
        spi.SetSpiMode("dac", 4);
    }
    SPIAccess spi;
    const ConfiguredBoard board({&spi}, kConfiguration);
    EXPECT_EQ(spi.GetSpiMode("flash"), 3u);
    // The kernel keeps the polarity of a chip select that is a GPIO line to itself.
    EXPECT_EQ(spi.GetSpiMode("dac"), 0u);
    spi.SetSpiMode("flash", 0);
}

}  // namespace
}  // namespace quarn::test
