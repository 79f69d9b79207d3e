#include <quarn/SPIAccess.h>

#include "devices/DeviceTest.h"

#include <functional>

namespace quarn::test {
namespace {

class SPIAccessTest : public AccessorFixture {
protected:
    SPIAccessTest() : AccessorFixture("spi", "spi") {
        board_.AddEEPROMFile(kTransferSize, 5);
        SetTransferSize("many\n");
        board_.AddSPILoopback("spidev0.0");
        board_.AddSPIShiftRegister("spidev0.1", 2);
        AddAll({"spidev0.1 shift", "spidev0.0 loop"});
    }

    Accessor& Tested() override { return spi_; }
    /// What the driver says that it moves at most.
    void SetTransferSize(const std::string& text) {
        board_.SetContents(kTransferSize, Bytes(text.begin(), text.end()));
    }

    const std::string kTransferSize = "/sys/module/spidev/parameters/bufsiz";
    SPIAccess spi_{board_};
};

TEST_F(SPIAccessTest, MakesOneMessageOfATransaction) {
    const uint64_t before = board_.Count(Call::IOCTL);
    EXPECT_EQ(spi_.Transact("loop", {1, 2, 3}), (Bytes{1, 2, 3}));
    EXPECT_EQ(spi_.Transact("shift", {1, 2, 3}), (Bytes{0, 0, 1}));
    EXPECT_EQ(spi_.Transact3Wire("shift", {4}, 3), (Bytes{3, 4, 0}));
    EXPECT_EQ(spi_.Transact3Wire("shift", {5, 6}, 0), Bytes());
    EXPECT_EQ(spi_.Transact3Wire("shift", {}, 2), (Bytes{5, 6}));
    EXPECT_EQ(spi_.Transact("loop", Bytes(4096, 7)), Bytes(4096, 7));
    EXPECT_EQ(board_.Count(Call::IOCTL), before + 6);
}

TEST_F(SPIAccessTest, SetsModes) {
    for (uint8_t mode = 0; mode <= 4; ++mode) {
        spi_.SetSpiMode("loop", mode);
        EXPECT_EQ(spi_.GetSpiMode("loop"), mode);
        SPIAccess afterwards(board_);
        EXPECT_EQ(AddTo(afterwards, "spidev0.0 device"), kNothingThrown);
        EXPECT_EQ(afterwards.GetSpiMode("device"), mode);  // as the node has it
    }
    board_.Fail(Call::IOCTL, EIO);
    EXPECT_EQ(ThrownMessage([&] { spi_.SetSpiMode("loop", 0); }),
              "SPI set mode failed on spidev0.0: Input/output error");
    EXPECT_EQ(spi_.GetSpiMode("loop"), 4u);
}

TEST_F(SPIAccessTest, TellsWhatFailed) {
    const std::string zero = "SPI transaction length cannot be zero";
    const std::string tooLong = "SPI transaction failed on spidev0.0: Message too long";
    const std::pair<std::function<void()>, std::string> refused[] = {
        {[&] { spi_.Transact("loop", {}); }, zero},
        {[&] { spi_.Transact3Wire("loop", {}, 0); }, zero},
        {[&] { spi_.Transact("loop", Bytes(4097)); }, tooLong},
        {[&] { spi_.Transact3Wire("loop", Bytes(4097), 1); }, tooLong},
        {[&] { spi_.Transact3Wire("loop", {1}, SIZE_MAX); }, tooLong},
        {[&] { spi_.SetSpiMode("loop", 5); }, "Invalid SPI mode"},
        {[&] { spi_.Transact("Loop", {1}); }, "SPI: unknown device \"Loop\""},
    };
    const uint64_t calls = board_.Count(Call::IOCTL);
    for (const auto& [call, message] : refused)
        EXPECT_EQ(ThrownMessage(call), message);
    EXPECT_EQ(board_.Count(Call::IOCTL), calls);
    board_.Fail(Call::IOCTL, EIO);
    EXPECT_EQ(ThrownMessage([&] { spi_.Transact("loop", {1}); }),
              "SPI transaction failed on spidev0.0: Input/output error");
}

TEST_F(SPIAccessTest, RefusesDefectiveLinesAndClosesItsNodes) {
    board_.AddSPILoopback("spidev1.0");
    const size_t held = board_.Held();
    ExpectRefused({
        {"spidev1.0", "SPI: wrong number of fields"},
        {"spidev0.0 loop", "SPI: Attempt to add duplicate device \"loop\""},
        {"spidev0.0 new", "SPI: Attempt to add duplicate node spidev0.0\""},
        {"spidev9.9 new", "SPI: Could not open SPI node device /dev/spidev9.9: No such file or directory"},
    });
    board_.Fail(Call::IOCTL, ENOTTY);
    EXPECT_EQ(Add("spidev1.0 new"), "SPI get mode failed on spidev1.0: Inappropriate ioctl for device");
    EXPECT_EQ(board_.Held(), held);
    EXPECT_THAT(Run("list"), ElementsAre("name   node       ", "shift  spidev0.1  ", "loop   spidev0.0  "));
    DebugCapture debug(DEBUG_ERR);
    {
        SPIAccess other(board_);
        EXPECT_THAT(other.Execute("spi", {"list"}), ElementsAre("SPI: no devices"));
        SetTransferSize("8192\n");
        EXPECT_EQ(AddTo(other, "spidev1.0 new"), kNothingThrown);
        EXPECT_EQ(ThrownMessage([&] { other.Execute("spi", Tokenize("new r 8193")); }),
                  "Value \"8193\" is not in the range 1..8192");
        board_.Fail(Call::CLOSE, EIO);
    }
    EXPECT_THAT(debug.Lines(), ElementsAre("SPI: could not close /dev/spidev1.0: Input/output error"));
    EXPECT_EQ(board_.Held(), held);
}

TEST_F(SPIAccessTest, RunsConsoleLines) {
    EXPECT_THAT(Run("loop 1 0x7F 255"), ElementsAre("0x01 0x7F 0xFF"));
    EXPECT_THAT(Run("shift 1 2 r 3"), ElementsAre("0x01 0x02 0x00"));
    EXPECT_THAT(Run("shift r 1"), ElementsAre("0x00"));
    EXPECT_EQ(Run("loop r 4096").front().size(), 4096 * 5 - 1u);
    ExpectFailures({
        {"loop 256", "Value \"256\" is not in the range 0..255"},
        {"loop R 1", "Could not convert \"R\" to uint16"},
        {"loop 1 r", "SPI: missing read count after \"r\""},
        {"loop 1 r 0", "Value \"0\" is not in the range 1..4096"},
        {"loop 1 r 4097", "Value \"4097\" is not in the range 1..4096"},
        {"loop r 1 r 1", "SPI: no words may follow the read count"},
    });
}

}  // namespace
}  // namespace quarn::test
