#include <quarn/Parse.h>
#include <quarn/SPIAccess.h>
#include <quarn/sim/SimulatedBoard.h>

#include "devices/AccessorFixture.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>

#include <functional>

namespace quarn {
namespace {

using sim::Call;
using sim::SimulatedBoard;
using test::DebugCapture;
using test::ThrownMessage;
using testing::ElementsAre;
using testing::IsEmpty;

using Bytes = std::vector<uint8_t>;

class SPIAccessTest : public test::AccessorFixture {
protected:
    SPIAccessTest() : AccessorFixture("spi", "spi") {
        board_.AddSPILoopback("spidev0.0");
        board_.AddSPIShiftRegister("spidev0.1", 2);
        AddAll({"spidev0.1 shift", "spidev0.0 loop"});
    }

    Accessor& Tested() override { return spi_; }

    SPIAccess spi_{board_};
};

TEST_F(SPIAccessTest, MakesOneMessageOfATransaction) {
    static const Bytes two = {5, 6}, three = {1, 2, 3};
    const struct {
        std::function<Bytes(SPIAccess&)> transact;
        Bytes received;
    } cases[] = {
        {[](SPIAccess& spi) { return spi.Transact("loop", three); }, {1, 2, 3}},
        {[](SPIAccess& spi) { return spi.Transact("shift", three); }, {0, 0, 1}},
        {[](SPIAccess& spi) { return spi.Transact3Wire("shift", {4}, 3); }, {3, 4, 0}},
        {[](SPIAccess& spi) { return spi.Transact3Wire("shift", two, 0); }, {}},
        {[](SPIAccess& spi) { return spi.Transact3Wire("shift", {}, 2); }, {5, 6}},
        {[](SPIAccess& spi) { return spi.Transact("loop", Bytes(4096, 7)); }, Bytes(4096, 7)},
    };
    for (const auto& c : cases) {
        const uint64_t before = board_.Count(Call::IOCTL);
        EXPECT_EQ(c.transact(spi_), c.received);
        EXPECT_EQ(board_.Count(Call::IOCTL), before + 1);
    }
}

TEST_F(SPIAccessTest, SetsModes) {
    for (uint8_t mode = 0; mode <= 4; ++mode) {
        spi_.SetSpiMode("loop", mode);
        EXPECT_EQ(spi_.GetSpiMode("loop"), mode);
        SPIAccess afterwards(board_);
        afterwards.Configure("spi", {"spidev0.0", "device"});
        EXPECT_EQ(afterwards.GetSpiMode("device"), mode);  // as the node has it
    }
    board_.Fail(Call::IOCTL, EIO);
    EXPECT_EQ(ThrownMessage([&] { spi_.SetSpiMode("loop", 0); }),
              "SPI set mode failed on spidev0.0: Input/output error");
    EXPECT_EQ(spi_.GetSpiMode("loop"), 4u);
}

TEST_F(SPIAccessTest, TellsWhatFailed) {
    const struct {
        int error;
        std::function<void()> call;
        const char* message;
    } cases[] = {
        {EIO, [&] { spi_.Transact("loop", {1}); }, "SPI transaction failed on spidev0.0: Input/output error"},
        {ETIMEDOUT, [&] { spi_.Transact3Wire("shift", {1}, 1); },
         "SPI transaction failed on spidev0.1: Connection timed out"},
    };
    for (const auto& c : cases) {
        board_.Fail(Call::IOCTL, c.error);
        EXPECT_EQ(ThrownMessage(c.call), c.message);
    }
    const uint64_t calls = board_.Count(Call::IOCTL);
    const struct {
        std::function<void()> call;
        const char* message;
    } refused[] = {
        {[&] { spi_.Transact("loop", {}); }, "SPI transaction length cannot be zero"},
        {[&] { spi_.Transact3Wire("loop", {}, 0); }, "SPI transaction length cannot be zero"},
        {[&] { spi_.Transact("loop", Bytes(4097)); },
         "SPI transaction failed on spidev0.0: Message too long"},
        {[&] { spi_.Transact3Wire("loop", Bytes(4097), 1); },
         "SPI transaction failed on spidev0.0: Message too long"},
        {[&] { spi_.Transact3Wire("loop", {1}, SIZE_MAX); },
         "SPI transaction failed on spidev0.0: Message too long"},
        {[&] { spi_.SetSpiMode("loop", 5); }, "Invalid SPI mode"},
        {[&] { spi_.Transact("Loop", {1}); }, "SPI: unknown device \"Loop\""},
        {[&] { spi_.SetSpiMode("nothing", 0); }, "SPI: unknown device \"nothing\""},
    };
    for (const auto& c : refused)
        EXPECT_EQ(ThrownMessage(c.call), c.message);
    EXPECT_EQ(board_.Count(Call::IOCTL), calls);
}

TEST_F(SPIAccessTest, RefusesDefectiveLines) {
    board_.AddSPILoopback("spidev1.0");
    const size_t held = board_.Held();
    const auto failing = [&](Call call, int error) {
        board_.Fail(call, error);
        return Add("spidev1.0 new");
    };
    EXPECT_EQ(Add("spidev1.0"), "SPI: wrong number of fields");
    EXPECT_EQ(Add("spidev1.0 new more"), "SPI: wrong number of fields");
    EXPECT_EQ(Add("spidev0.0 loop"), "SPI: Attempt to add duplicate device \"loop\"");
    EXPECT_EQ(Add("spidev0.0 new"), "SPI: Attempt to add duplicate node spidev0.0\"");
    EXPECT_EQ(Add("spidev9.9 new"),
              "SPI: Could not open SPI node device /dev/spidev9.9: No such file or directory");
    EXPECT_EQ(failing(Call::OPEN, EACCES),
              "SPI: Could not open SPI node device /dev/spidev1.0: Permission denied");
    EXPECT_EQ(failing(Call::IOCTL, ENOTTY),
              "SPI get mode failed on spidev1.0: Inappropriate ioctl for device");
    EXPECT_EQ(board_.Held(), held);
    EXPECT_THAT(Run("list"), ElementsAre("name   node       ", "shift  spidev0.1  ", "loop   spidev0.0  "));
    EXPECT_EQ(Add("spidev1.0 new"), "(nothing thrown)");
}

TEST_F(SPIAccessTest, RunsConsoleLines) {
    const struct {
        const char* line;
        const char* response;
    } cases[] = {
        {"loop 1 0x7F 255", "0x01 0x7F 0xFF"},
        {"shift 1 2 r 3", "0x01 0x02 0x00"},
        {"shift r 1", "0x00"},
    };
    for (const auto& c : cases)
        EXPECT_THAT(Run(c.line), ElementsAre(c.response)) << c.line;
    EXPECT_EQ(Run("loop r 4096").front().size(), 4096 * 5 - 1u);

    const struct {
        const char* line;
        const char* message;
    } failures[] = {
        {"loop", "SPI transaction length cannot be zero"},
        {"nothing 1", "SPI: unknown device \"nothing\""},
        {"loop 256", "Value \"256\" is not in the range 0..255"},
        {"loop R 1", "Could not convert \"R\" to uint16"},
        {"loop 1 r", "SPI: missing read count after \"r\""},
        {"loop 1 r x", "Could not convert \"x\" to uint32"},
        {"loop 1 r 0", "Value \"0\" is not in the range 1..4096"},
        {"loop 1 r 4097", "Value \"4097\" is not in the range 1..4096"},
        {"loop 1 r 1 2", "SPI: no words may follow the read count"},
        {"loop r 1 r 1", "SPI: no words may follow the read count"},
    };
    for (const auto& c : failures)
        EXPECT_EQ(Failure(c.line), c.message) << c.line;
}

TEST_F(SPIAccessTest, ExplainsItsCommand) {
    EXPECT_THAT(spi_.GetConsoleCommands(false), ElementsAre("spi"));
    EXPECT_THAT(spi_.GetConsoleCommands(true), ElementsAre("spi: SPI device access"));
    EXPECT_THAT(spi_.GetConfigurationSections(), ElementsAre("spi"));
    EXPECT_THAT(SPIAccess(board_).Execute("spi", {"list"}), ElementsAre("SPI: no devices"));
    EXPECT_THAT(
        spi_.Execute("bus", {}),
        ElementsAre("spi: SPI device access", "", "bus list                               list all devices",
                    "bus <name> <byte> ... [r <count>]      issue transaction to a specified device", "",
                    "  <name>      is a device name",
                    "  <byte> ...  is one or more bytes (decimal, or 0x for hex) separated by spaces",
                    "  r <count>   specifies number of bytes to read (for 3-wire transactions)"));
}

TEST(SPINodeTest, AsksTheKernelHowMuchItMoves) {
    const struct {
        const char* parameter;
        const char* range;
    } cases[] = {{"100\n", "1..100"}, {"65536\n", "1..65536"}, {"0\n", "1..4096"}, {"many\n", "1..4096"}};
    for (const auto& c : cases) {
        const std::string text = c.parameter;
        const std::string path = "/sys/module/spidev/parameters/bufsiz";
        SimulatedBoard board;
        board.AddEEPROMFile(path, text.size());
        const int32_t fd = board.Open(path, O_RDWR);
        ASSERT_EQ(board.Write(fd, text.data(), text.size()), ssize_t(text.size()));
        board.Close(fd);
        board.AddSPILoopback("spidev0.0");
        SPIAccess spi(board);
        spi.Configure("spi", {"spidev0.0", "device"});
        EXPECT_EQ(ThrownMessage([&] { spi.Execute("spi", Tokenize("device r 70000")); }),
                  "Value \"70000\" is not in the range " + std::string(c.range));
        EXPECT_EQ(board.Held(), 1u);
    }
}

TEST(SPINodeTest, ClosesItsNodesAndPrintsWhatFails) {
    SimulatedBoard board;
    board.AddSPILoopback("spidev0.0");
    DebugCapture debug(DEBUG_ERR);
    {
        SPIAccess spi(board);
        spi.Configure("spi", {"spidev0.0", "device"});
        board.Fail(Call::CLOSE, EIO);
    }
    EXPECT_THAT(debug.Lines(), ElementsAre("SPI: could not close /dev/spidev0.0: Input/output error"));
    EXPECT_EQ(board.Held(), 0u);
}

}  // namespace
}  // namespace quarn
