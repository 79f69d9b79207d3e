#include <quarn/sim/SimulatedBoard.h>

#include "sim/BoardCalls.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>

#include <vector>

namespace quarn::sim {
namespace {

using test::ThrownMessage;
using testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

class SimulatedBusTest : public testing::Test {
protected:
    int64_t Control(int32_t fd, unsigned long request, void* argument) {
        return Result(board_.IOCtl(fd, request, argument));
    }
    int64_t Select(int32_t fd, unsigned long address) {
        return Control(fd, I2C_SLAVE, reinterpret_cast<void*>(address));
    }
    int32_t OpenI2C(uint8_t address) {
        const int32_t fd = board_.Open("/dev/i2c-1", O_RDWR);
        EXPECT_EQ(Select(fd, address), 0);
        return fd;
    }
    int64_t Write(int32_t fd, const Bytes& bytes) {
        return Result(board_.Write(fd, bytes.data(), bytes.size()));
    }
    /// What is read, or nothing.
    Bytes Read(int32_t fd, size_t count) {
        Bytes bytes(count);
        bytes.resize(size_t(std::max<ssize_t>(board_.Read(fd, bytes.data(), count), 0)));
        return bytes;
    }

    SimulatedBoard board_;
};

TEST_F(SimulatedBusTest, RefusesWhatTheI2CBusWould) {
    board_.AddI2CRegisters("i2c-1", 0x21, 16);
    board_.SetI2CRights("i2c-1", 0x21, 4, 5, "r");
    board_.SetI2CRights("i2c-1", 0x21, 7, 7, "-");
    EXPECT_EQ(Result(board_.Open("/dev/i2c-2", O_RDWR | O_CREAT, 0600)), -ENOENT);
    const int32_t fd = board_.Open("/dev/i2c-1", O_RDWR);
    EXPECT_EQ(Write(fd, {0}), -ENXIO);  // nothing is selected
    EXPECT_EQ(Select(fd, 0x80), -EINVAL);
    EXPECT_EQ(Select(fd, 0x22), 0);
    EXPECT_EQ(Write(fd, {0}), -ENXIO);  // nobody answers
    EXPECT_EQ(Select(fd, 0x21), 0);
    EXPECT_EQ(Write(fd, {15, 1}), 2);
    EXPECT_EQ(Write(fd, {16}), -EIO);
    // What the device acknowledged counts.
    EXPECT_EQ(Write(fd, {3, 0x33, 0x44}), -EIO);
    EXPECT_EQ(board_.I2CByte("i2c-1", 0x21, 3), 0x33);
    EXPECT_EQ(board_.I2CByte("i2c-1", 0x21, 4), 0);
    uint8_t bytes[2];
    EXPECT_EQ(board_.Read(fd, bytes, 2), 2);
    EXPECT_EQ(Result(board_.Read(fd, bytes, 2)), -EIO);  // up to the closed one

    const int32_t readOnly = board_.Open("/dev/i2c-1", O_RDONLY);
    EXPECT_EQ(Write(readOnly, {0}), -EBADF);
    EXPECT_EQ(Result(board_.Read(readOnly, bytes, 1)), -ENXIO);  // its own selection
    EXPECT_EQ(Result(board_.Read(board_.Open("/dev/i2c-1", O_WRONLY), bytes, 1)), -EBADF);
    EXPECT_EQ(Control(fd, SPI_IOC_RD_MODE, bytes), -ENOTTY);
    EXPECT_EQ(board_.Close(fd), 0);
    EXPECT_EQ(Write(fd, {0}), -EBADF);
}

TEST_F(SimulatedBusTest, RegistersCountUpAndWrap) {
    board_.AddI2CRegisters("i2c-1", 0x21, 4);
    board_.SetI2CRights("i2c-1", 0x21, 1, 1, "w");
    board_.AddI2CRegisters("i2c-1", 0x22, 256);
    const int32_t fd = OpenI2C(0x21);
    EXPECT_EQ(Write(fd, {2, 0xA2, 0xA3, 0xA0, 0xA1}), 5);
    EXPECT_THAT(Read(fd, 3), ElementsAre(0xA2, 0xA3, 0xA0));
    EXPECT_THAT(Read(fd, 2), ElementsAre(0, 0xA2));
    EXPECT_EQ(board_.I2CByte("i2c-1", 0x21, 1), 0xA1);
    EXPECT_EQ(Read(OpenI2C(0x22), 9000).size(), 8192u);  // i2c-dev's largest transfer
}

TEST_F(SimulatedBusTest, EEPROMWritesStayInsideAPage) {
    board_.AddI2CEEPROM("i2c-1", 0x50, 256, 8);
    board_.AddI2CEEPROM("i2c-1", 0x51, 4096, 32);
    const int32_t fd = OpenI2C(0x50);
    EXPECT_EQ(Write(fd, {0x0E, 1, 2, 3}), 4);
    EXPECT_THAT(Read(fd, 1), ElementsAre(0xFF));  // goes on where the write ended, at 9
    EXPECT_EQ(board_.I2CByte("i2c-1", 0x50, 8), 3);

    EXPECT_EQ(Select(fd, 0x51), 0);
    EXPECT_EQ(Write(fd, {0x0F, 0xFE, 5, 6, 7}), 5);
    EXPECT_EQ(Write(fd, {0x0F, 0xFF}), 2);
    board_.SetI2CByte("i2c-1", 0x51, 0, 8);
    EXPECT_THAT(Read(fd, 2), ElementsAre(6, 8));
    EXPECT_EQ(board_.I2CByte("i2c-1", 0x51, 0xFE0), 7);
}

TEST_F(SimulatedBusTest, RefusesWhatTheSPIBusWould) {
    board_.AddSPILoopback("spidev0.0");
    const int32_t fd = board_.Open("/dev/spidev0.0", O_RDWR);
    Bytes sent(5000), received(5000);
    const auto transfer = [&](bool sends, bool receives, uint32_t length) {
        spi_ioc_transfer made{};
        made.tx_buf = sends ? uintptr_t(sent.data()) : 0;
        made.rx_buf = receives ? uintptr_t(received.data()) : 0;
        made.len = length;
        return made;
    };
    const auto exchange = [&](spi_ioc_transfer made) { return Control(fd, SPI_IOC_MESSAGE(1), &made); };
    const auto setMode = [&](uint32_t mode) { return Control(fd, SPI_IOC_WR_MODE32, &mode); };
    EXPECT_EQ(setMode(SPI_MODE_3), 0);
    EXPECT_EQ(setMode(SPI_NO_CS), -EINVAL);
    EXPECT_EQ(setMode(SPI_TX_QUAD), -EINVAL);
    uint32_t mode = 0;
    EXPECT_EQ(Control(board_.Open("/dev/spidev0.0", O_RDWR), SPI_IOC_RD_MODE32, &mode), 0);
    EXPECT_EQ(mode, uint32_t{SPI_MODE_3}) << "the mode is the device's";

    uint32_t speed = 0;
    uint8_t bits = 16;
    EXPECT_EQ(Control(fd, SPI_IOC_WR_MAX_SPEED_HZ, &speed), -EINVAL);
    EXPECT_EQ(Control(fd, SPI_IOC_WR_BITS_PER_WORD, &bits), -EINVAL);
    auto words = transfer(true, true, 4);
    words.bits_per_word = 9;
    EXPECT_EQ(exchange(words), -EINVAL);
    EXPECT_EQ(exchange(transfer(true, true, 4096)), 4096);
    EXPECT_EQ(exchange(transfer(true, true, 4097)), -EMSGSIZE);
    spi_ioc_transfer both[] = {transfer(true, false, 4000), transfer(false, true, 4000)};
    spi_ioc_transfer tooMuch[] = {transfer(true, false, 3000), transfer(true, false, 3000)};
    EXPECT_EQ(Control(fd, SPI_IOC_MESSAGE(2), both), 8000);
    EXPECT_EQ(Control(fd, SPI_IOC_MESSAGE(2), tooMuch), -EMSGSIZE);
    EXPECT_EQ(Control(fd, _IOW(SPI_IOC_MAGIC, 0, char[48]), both), -EINVAL);  // one and a half
    EXPECT_EQ(Control(fd, SPI_IOC_MESSAGE(1), nullptr), -EFAULT);
    EXPECT_EQ(Control(fd, _IOW(SPI_IOC_MAGIC, 9, uint8_t), both), -ENOTTY);
    EXPECT_EQ(Result(board_.Write(fd, sent.data(), 4097)), -EMSGSIZE);

    EXPECT_EQ(setMode(SPI_3WIRE), 0);
    EXPECT_EQ(exchange(transfer(true, true, 1)), -EINVAL);
    EXPECT_EQ(Control(fd, SPI_IOC_MESSAGE(2), both), 8000);
}

TEST(SimulatedBoardTest, RefusesBoardsThatCannotBe) {
    SimulatedBoard board;
    board.AddI2CRegisters("i2c-1", 0x21, 4);
    board.AddGPIOChip("chip", 8);
    board.HoldLine("chip", 0, "other");
    board.AddMemory(0xA0000000, 4096);
    board.AddMemory(0xA0001000, 4096);
    board.AddCounter(0xA0000040, 1);
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { board.AddI2CRegisters("i2c-2", 0x80, 4); }, "0x80 is no 7-bit address"},
        {[&] { board.AddI2CRegisters("i2c-1", 0x21, 4); }, "there is a device 0x21 on i2c-1 already"},
        {[&] { board.SetI2CRights("i2c-1", 0x21, 3, 4, "r"); }, "no registers 0x03-0x04"},
        {[&] { board.SetI2CRights("i2c-1", 0x21, 0, 0, "wr"); },
         "rights must be \"rw\", \"r\", \"w\" or \"-\""},
        {[&] { board.I2CByte("i2c-1", 0x22, 0); }, "no device 0x22 on i2c-1"},
        {[&] { board.AddSPIShiftRegister("i2c-1", 1); }, "there is a device /dev/i2c-1 already"},
        {[&] { board.DriveLine("other", 0, true); }, "no GPIO chip \"other\""},
        {[&] { board.WireLines("chip", 0, "chip", 8); }, "no line 8 on GPIO chip \"chip\""},
        {[&] { board.HoldLine("chip", 0, "me"); }, "line 0 on GPIO chip \"chip\" is held already"},
        {[&] { board.AddMemory(16, 4096); }, "memory has whole pages of 4096 bytes, below 0x10000000000000"},
        {[&] { board.AddMemory(0x9FFFF000, 8192); }, "there is memory at 0x9FFFF000 already"},
        {[&] { board.AddMemory(0xA0001000, 4096); }, "there is memory at 0xA0001000 already"},
        {[&] { board.Word(0xA0000002); }, "no word at 0xA0000002"},
        {[&] { board.AddTimer(0xA0000000); }, "there is a counter or timer at 0xA0000000 already"},
        {[&] { board.AddTimer(0xA0001FFC); }, "no word at 0xA00020F8"},
        {[&] { board.AddMTD("a", 5000, 4096); }, "an MTD partition has whole erase blocks, below 4 GiB"},
        {[&] { board.AddEEPROMFile("/e", 1, "/x/y"); }, "could not open /x/y: No such file or directory"},
        {[&] { board.Contents("/dev/mem"); }, "no storage /dev/mem"},
        {[&] { board.Remove("/dev/i2c-2"); }, "no device /dev/i2c-2"},
    };
    for (const auto& [build, reason] : cases)
        EXPECT_EQ(ThrownMessage(build), std::string("SIM: ") + reason);
    EXPECT_EQ(Result(board.Open("/dev/mtd0", O_RDWR)), -ENOENT);
}

}  // namespace
}  // namespace quarn::sim
