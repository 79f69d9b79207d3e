#include <quarn/sim/SimulatedBoard.h>

#include "sim/BoardCalls.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/spi/spidev.h>
#include <string.h>
#include <sys/ioctl.h>

#include <vector>

namespace quarn::sim {
namespace {

using test::ThrownMessage;
using testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

class SimulatedBusTest : public testing::Test {
protected:
    int32_t Open(const char* path) {
        const int32_t fd = board_.Open(path, O_RDWR);
        EXPECT_GE(fd, 0) << path;
        return fd;
    }
    int32_t OpenI2C(uint8_t address) {
        const int32_t fd = Open("/dev/i2c-1");
        EXPECT_EQ(Select(fd, address), 0);
        return fd;
    }
    int32_t Select(int32_t fd, unsigned long address) {
        return board_.IOCtl(fd, I2C_SLAVE, reinterpret_cast<void*>(address));
    }
    ssize_t Write(int32_t fd, const Bytes& bytes) { return board_.Write(fd, bytes.data(), bytes.size()); }
    template <class... Byte>
    ssize_t WriteBytes(int32_t fd, Byte... bytes) {
        return Write(fd, {uint8_t(bytes)...});
    }
    /// What is read, or nothing.
    Bytes Read(int32_t fd, size_t count) {
        Bytes bytes(count);
        const ssize_t read = board_.Read(fd, bytes.data(), count);
        bytes.resize(read < 0 ? 0 : size_t(read));
        return bytes;
    }

    SimulatedBoard board_;
};

TEST_F(SimulatedBusTest, RefusesWhatTheI2CBusWould) {
    board_.AddI2CRegisters("i2c-1", 0x21, 16);
    board_.SetI2CRights("i2c-1", 0x21, 4, 5, "r");
    board_.SetI2CRights("i2c-1", 0x21, 6, 6, "w");
    board_.SetI2CRights("i2c-1", 0x21, 7, 7, "-");
    const int32_t fd = Open("/dev/i2c-1");
    const int32_t readOnly = board_.Open("/dev/i2c-1", O_RDONLY);
    const int32_t writeOnly = board_.Open("/dev/i2c-1", O_WRONLY);
    Bytes large(9000);
    unsigned long functions = 0;
    ExpectResults({
        {"another bus", [&] { return board_.Open("/dev/i2c-2", O_RDWR); }, -ENOENT},
        {"to be created", [&] { return board_.Open("/dev/i2c-2", O_RDWR | O_CREAT, 0600); }, -ENOENT},
        {"that is there", [&] { return board_.Open("/dev/i2c-1", O_RDWR | O_CREAT | O_EXCL); }, -EEXIST},
        {"no device selected", [&] { return Write(fd, {0}); }, -ENXIO},
        {"eight bits of address", [&] { return Select(fd, 0x80); }, -EINVAL},
        {"another device", [&] { return Select(fd, 0x22); }, 0},
        {"that does not answer", [&] { return Write(fd, {0}); }, -ENXIO},
        {"not even this", [&] { return board_.Read(fd, large.data(), 1); }, -ENXIO},
        {"the device", [&] { return Select(fd, 0x21); }, 0},
        {"last register", [&] { return WriteBytes(fd, 15, 1); }, 2},
        {"no such register", [&] { return Write(fd, {16}); }, -EIO},
        {"up to a read-only one", [&] { return WriteBytes(fd, 3, 0x33, 0x44); }, -EIO},
        {"from there", [&] { return board_.Read(fd, large.data(), 2); }, 2},
        {"into the closed one", [&] { return board_.Read(fd, large.data(), 2); }, -EIO},
        {"write-only", [&] { return board_.Read(writeOnly, large.data(), 1); }, -EBADF},
        {"read-only", [&] { return Write(readOnly, {0}); }, -EBADF},
        {"no other's selection", [&] { return board_.Read(readOnly, large.data(), 1); }, -ENXIO},
        {"functions", [&] { return board_.IOCtl(fd, I2C_FUNCS, &functions); }, 0},
        {"no such request", [&] { return board_.IOCtl(fd, SPI_IOC_RD_MODE, &functions); }, -ENOTTY},
        {"seek", [&] { return board_.Seek(fd, 0, SEEK_SET); }, -ESPIPE},
        {"truncate", [&] { return board_.Truncate(fd, 0); }, -EINVAL},
        {"sync", [&] { return board_.Sync(fd); }, -EINVAL},
        {"size", [&] { return board_.FileSize("/dev/i2c-1"); }, 0},
        {"no size", [&] { return board_.FileSize("/dev/i2c-2"); }, -ENOENT},
        {"close", [&] { return board_.Close(fd); }, 0},
        {"close again", [&] { return board_.Close(fd); }, -EBADF},
        {"write after that", [&] { return Write(fd, {0}); }, -EBADF},
    });
    EXPECT_TRUE(functions & I2C_FUNC_I2C);
    // What the device acknowledged counts.
    EXPECT_EQ(board_.I2CByte("i2c-1", 0x21, 3), 0x33);
    EXPECT_EQ(board_.I2CByte("i2c-1", 0x21, 4), 0);
}

TEST_F(SimulatedBusTest, RegistersCountUpAndWrap) {
    board_.AddI2CRegisters("i2c-1", 0x21, 4);
    board_.SetI2CRights("i2c-1", 0x21, 1, 1, "w");
    board_.AddI2CRegisters("i2c-1", 0x22, 256);
    const int32_t fd = OpenI2C(0x21);
    EXPECT_EQ(Write(fd, {2, 0xA2, 0xA3, 0xA0, 0xA1}), 5);
    EXPECT_THAT(Read(fd, 1), ElementsAre(0xA2));
    EXPECT_EQ(Write(fd, {3}), 1);
    EXPECT_THAT(Read(fd, 4), ElementsAre(0xA3, 0xA0, 0, 0xA2));
    EXPECT_EQ(board_.I2CByte("i2c-1", 0x21, 1), 0xA1);
    board_.SetI2CByte("i2c-1", 0x21, 3, 7);
    EXPECT_THAT(Read(fd, 2), ElementsAre(7, 0xA0));
    EXPECT_EQ(Read(OpenI2C(0x22), 9000).size(), 8192u);  // i2c-dev's largest transfer
}

TEST_F(SimulatedBusTest, EEPROMWritesStayInsideAPage) {
    board_.AddI2CEEPROM("i2c-1", 0x50, 256, 8);
    board_.AddI2CEEPROM("i2c-1", 0x51, 4096, 32);
    const int32_t fd = OpenI2C(0x50);
    EXPECT_EQ(Write(fd, {0x0E, 1, 2, 3}), 4);
    EXPECT_THAT(Read(fd, 1), ElementsAre(0xFF));  // goes on where the write ended, at 9
    EXPECT_EQ(Write(fd, {0x0E}), 1);
    EXPECT_THAT(Read(fd, 3), ElementsAre(1, 2, 0xFF));
    EXPECT_EQ(Write(fd, {0x08}), 1);
    EXPECT_THAT(Read(fd, 1), ElementsAre(3));

    EXPECT_EQ(Select(fd, 0x51), 0);
    EXPECT_EQ(Write(fd, {0x0F, 0xFE, 5, 6, 7}), 5);
    EXPECT_EQ(Write(fd, {0x0F, 0xFF}), 2);
    board_.SetI2CByte("i2c-1", 0x51, 0, 8);
    EXPECT_THAT(Read(fd, 2), ElementsAre(6, 8));
    EXPECT_EQ(board_.I2CByte("i2c-1", 0x51, 0xFE0), 7);
}

class SimulatedSPITest : public SimulatedBusTest {
protected:
    /// A transfer; sends and receives only what is given.
    static spi_ioc_transfer Transfer(const Bytes* sent, Bytes* received, size_t length) {
        spi_ioc_transfer transfer{};
        transfer.tx_buf = sent ? uintptr_t(sent->data()) : 0;
        transfer.rx_buf = received ? uintptr_t(received->data()) : 0;
        transfer.len = uint32_t(length);
        return transfer;
    }
    int32_t Message(int32_t fd, spi_ioc_transfer transfer) {
        return board_.IOCtl(fd, SPI_IOC_MESSAGE(1), &transfer);
    }
    int32_t SetMode(int32_t fd, uint8_t mode) { return board_.IOCtl(fd, SPI_IOC_WR_MODE, &mode); }
    int32_t SetMode32(int32_t fd, uint32_t mode) { return board_.IOCtl(fd, SPI_IOC_WR_MODE32, &mode); }
    uint32_t Mode(int32_t fd) {
        uint32_t mode = ~0u;
        EXPECT_EQ(board_.IOCtl(fd, SPI_IOC_RD_MODE32, &mode), 0);
        return mode;
    }
};

TEST_F(SimulatedSPITest, RefusesWhatTheSPIBusWould) {
    board_.AddSPILoopback("spidev0.0");
    const int32_t fd = Open("/dev/spidev0.0");
    Bytes buffer(5000), other(5000);
    auto words = Transfer(&buffer, &other, 4);
    words.bits_per_word = 9;
    uint32_t speed = 0;
    uint8_t bits = 16;
    spi_ioc_transfer both[] = {Transfer(&buffer, nullptr, 4000), Transfer(nullptr, &other, 4000)};
    spi_ioc_transfer tooMuch[] = {Transfer(&buffer, nullptr, 3000), Transfer(&buffer, nullptr, 3000)};
    ExpectResults({
        {"mode 4", [&] { return SetMode(fd, 4); }, 0},
        {"mode 3", [&] { return SetMode(fd, SPI_MODE_3); }, 0},
        {"not by this controller", [&] { return SetMode(fd, SPI_NO_CS); }, -EINVAL},
        {"nor this", [&] { return SetMode32(fd, SPI_TX_QUAD); }, -EINVAL},
        {"mode kept", [&] { return Mode(fd); }, SPI_MODE_3},
        {"mode of the device", [&] { return Mode(Open("/dev/spidev0.0")); }, SPI_MODE_3},
        {"speed", [&] { return board_.IOCtl(fd, SPI_IOC_WR_MAX_SPEED_HZ, &speed); }, -EINVAL},
        {"word", [&] { return board_.IOCtl(fd, SPI_IOC_WR_BITS_PER_WORD, &bits); }, -EINVAL},
        {"word of a transfer", [&] { return Message(fd, words); }, -EINVAL},
        {"message", [&] { return Message(fd, Transfer(&buffer, &other, 4096)); }, 4096},
        {"too long", [&] { return Message(fd, Transfer(&buffer, &other, 4097)); }, -EMSGSIZE},
        {"both ways", [&] { return board_.IOCtl(fd, SPI_IOC_MESSAGE(2), both); }, 8000},
        {"too much one way", [&] { return board_.IOCtl(fd, SPI_IOC_MESSAGE(2), tooMuch); }, -EMSGSIZE},
        {"no transfer", [&] { return board_.IOCtl(fd, SPI_IOC_MESSAGE(0), both); }, 0},
        {"half a transfer", [&] { return board_.IOCtl(fd, _IOW(SPI_IOC_MAGIC, 0, char[48]), both); },
         -EINVAL},
        {"no buffer", [&] { return board_.IOCtl(fd, SPI_IOC_MESSAGE(1), nullptr); }, -EFAULT},
        {"no such request", [&] { return board_.IOCtl(fd, _IOW(SPI_IOC_MAGIC, 9, uint8_t), both); }, -ENOTTY},
        {"of another driver", [&] { return board_.IOCtl(fd, I2C_SLAVE, both); }, -ENOTTY},
        {"read", [&] { return board_.Read(fd, buffer.data(), 4097); }, -EMSGSIZE},
        {"write", [&] { return board_.Write(fd, buffer.data(), 4097); }, -EMSGSIZE},
        {"3-wire", [&] { return SetMode(fd, SPI_3WIRE); }, 0},
        {"at once both ways", [&] { return Message(fd, Transfer(&buffer, &other, 1)); }, -EINVAL},
        {"in turn", [&] { return board_.IOCtl(fd, SPI_IOC_MESSAGE(2), both); }, 8000},
    });
}

TEST(SimulatedBoardTest, RefusesBoardsThatCannotBe) {
    SimulatedBoard board;
    board.AddI2CRegisters("i2c-1", 0x21, 4);
    board.AddI2CEEPROM("i2c-1", 0x50, 64, 8);
    board.AddSPILoopback("spidev0.0");
    board.AddGPIOChip("chip", 8);
    board.HoldLine("chip", 0, "other");
    board.AddMemory(0xA0000000, 4096);
    board.AddMemory(0xA0001000, 4096);
    board.AddCounter(0xA0000040, 1);
    const struct {
        std::function<void()> build;
        const char* message;
    } cases[] = {
        {[&] { board.AddI2CRegisters("i2c-2", 0x80, 4); }, "SIM: 0x80 is no 7-bit address"},
        {[&] { board.AddI2CRegisters("i2c-1", 0x21, 4); }, "SIM: there is a device 0x21 on i2c-1 already"},
        {[&] { board.AddI2CRegisters("i2c-1", 0x22, 257); }, "SIM: an I2C device has 1 to 256 registers"},
        {[&] { board.AddI2CRegisters("spidev0.0", 0x22, 4); }, "SIM: /dev/spidev0.0 is no I2C bus"},
        {[&] { board.AddI2CRegisters("a/b", 0x22, 4); }, "SIM: \"a/b\" is no name of a node"},
        {[&] { board.AddI2CEEPROM("i2c-1", 0x22, 65, 8); },
         "SIM: an I2C EEPROM has whole pages, up to 65536 bytes"},
        {[&] { board.SetI2CRights("i2c-1", 0x50, 0, 1, "r"); },
         "SIM: the device 0x50 on i2c-1 has no registers"},
        {[&] { board.SetI2CRights("i2c-1", 0x21, 3, 4, "r"); }, "SIM: no registers 0x03-0x04"},
        {[&] { board.SetI2CRights("i2c-1", 0x21, 0, 0, "wr"); },
         "SIM: rights must be \"rw\", \"r\", \"w\" or \"-\""},
        {[&] { board.I2CByte("i2c-2", 0x21, 0); }, "SIM: no I2C bus i2c-2"},
        {[&] { board.I2CByte("i2c-1", 0x22, 0); }, "SIM: no device 0x22 on i2c-1"},
        {[&] { board.SetI2CByte("i2c-1", 0x21, 4, 0); }, "SIM: the device has no byte 4"},
        {[&] { board.AddSPIShiftRegister("spidev0.0", 1); }, "SIM: there is a device /dev/spidev0.0 already"},
        {[&] { board.AddSPIShiftRegister("spidev0.1", 0); }, "SIM: a shift register has 1 to 65536 bytes"},
        {[&] { board.AddGPIOChip("chip", 8); }, "SIM: there is a GPIO chip \"chip\" already"},
        {[&] { board.AddGPIOChip("none", 0); }, "SIM: a GPIO chip has 1 to 1024 lines"},
        {[&] { board.DriveLine("other", 0, true); }, "SIM: no GPIO chip \"other\""},
        {[&] { board.WireLines("chip", 0, "chip", 8); }, "SIM: no line 8 on GPIO chip \"chip\""},
        {[&] { board.HoldLine("chip", 0, "me"); }, "SIM: line 0 on GPIO chip \"chip\" is held already"},
        {[&] { board.AddMemory(0xA0000010, 4096); },
         "SIM: memory has whole pages of 4096 bytes, below 0x10000000000000"},
        {[&] { board.AddMemory(0x9FFFF000, 3 * 4096); }, "SIM: there is memory at 0x9FFFF000 already"},
        {[&] { board.AddMemory(0xA0001000, 4096); }, "SIM: there is memory at 0xA0001000 already"},
        {[&] { board.SetWord(0xA0002000, 1); }, "SIM: no word at 0xA0002000"},
        {[&] { board.Word(0xA0000002); }, "SIM: no word at 0xA0000002"},
        {[&] { board.AddTimer(0xA0000000); }, "SIM: there is a counter or timer at 0xA0000000 already"},
        {[&] { board.AddTimer(0xA0001FFC); }, "SIM: no word at 0xA00020F8"},
        {[&] { board.AddMTD("flash", 5000, 4096); },
         "SIM: an MTD partition has whole erase blocks, below 4 GiB"},
        {[&] { board.AddEEPROMFile("/sys/eeprom", 0); }, "SIM: an EEPROM has 1 to 16777216 bytes"},
        {[&] { board.AddEEPROMFile("/dev/mem", 1); }, "SIM: there is a device /dev/mem already"},
        {[&] { board.AddEEPROMFile("/sys/eeprom", 1, "/nowhere/backing"); },
         "SIM: could not open /nowhere/backing: No such file or directory"},
        {[&] { board.Shorten(Call::SEEK, 1); }, "SIM: only reads and writes can be short"},
        {[&] { board.Remove("/dev/i2c-2"); }, "SIM: no device /dev/i2c-2"},
        {[&] { board.PutBack("other"); }, "SIM: no device other"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ThrownMessage(c.build), c.message);
    EXPECT_EQ(Result([&] { return board.Open("/dev/mtd0", O_RDWR); }), -ENOENT);
}

}  // namespace
}  // namespace quarn::sim
