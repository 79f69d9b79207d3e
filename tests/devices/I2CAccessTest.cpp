#include <quarn/I2CAccess.h>
#include <quarn/NamedLock.h>
#include <quarn/PermanentCondition.h>
#include <quarn/Text.h>

#include "devices/DeviceTest.h"

#include <string.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>

namespace quarn::test {
namespace {

/// A bus of this test program alone; the file of its lock is deleted at the end.
struct BusName {
    ~BusName() { unlink(("/var/lock/LCK.." + text).c_str()); }

    const std::string text = "i2c-quarn-test-" + std::to_string(getpid());
};

class I2CAccessTest : public AccessorFixture {
protected:
    I2CAccessTest() : AccessorFixture("i2c", "i2c") {
        board_.AddI2CRegisters(bus_, 0x21, 256);
        board_.AddI2CEEPROM(bus_, 0x50, 256, 16);
        for (size_t i = 0; i < 256; ++i)
            board_.SetI2CByte(bus_, 0x50, i, uint8_t(i));
        AddAll({bus_ + " 0x21 expander", bus_ + " 80 eeprom", bus_ + " 0x22 ghost"});
    }

    Accessor& Tested() override { return i2c_; }
    bool IsBusFree() { return NamedLock(bus_).TryLock(); }
    /// The message with "BUS" for the bus.
    std::string ThrownBy(const std::function<void()>& transfer) {
        std::string message = ThrownMessage(transfer);
        StringReplace(message, bus_, "BUS");
        return message;
    }

    const BusName name_;
    const std::string& bus_ = name_.text;
    I2CAccess i2c_{board_};
    const std::function<void()> write_ = [&] { i2c_.Write("expander", {1, 2, 3}); };
    const std::function<void()> writeRegisters_ = [&] { i2c_.WriteRegisters("expander", 1, {2, 3}); };
    const std::function<void()> read_ = [&] { i2c_.Read("expander", 2); };
    const std::function<void()> readRegister_ = [&] { i2c_.ReadRegister("expander", 1); };
    const std::function<void()> readRegisters_ = [&] { i2c_.ReadRegisters("expander", 1, 3); };
};

TEST_F(I2CAccessTest, MovesBytesInAsFewCallsAsItTakes) {
    i2c_.WriteRegister("expander", 7, 5);
    EXPECT_EQ(i2c_.ReadRegister("expander", 7), 5);
    i2c_.WriteRegisters("expander", 8, {1, 2});
    EXPECT_EQ(i2c_.ReadRegisters("expander", 7, 3), (Bytes{5, 1, 2}));
    EXPECT_EQ(i2c_.ReadRegisters("expander", 7, 0), Bytes());
    i2c_.Write("eeprom", {0xFE});
    EXPECT_EQ(i2c_.Read("eeprom", 3), (Bytes{0xFE, 0xFF, 0}));
    EXPECT_EQ(board_.Count(Call::OPEN), 1u);
    EXPECT_EQ(board_.Count(Call::IOCTL), 7u);
    EXPECT_EQ(board_.Count(Call::WRITE), 6u);
    EXPECT_EQ(board_.Count(Call::READ), 4u);
    EXPECT_TRUE(IsBusFree());
}

TEST_F(I2CAccessTest, RepeatsWhatABusyBusRefusesAndTellsWhatFailed) {
    const struct {
        Call call;
        int error;
        size_t count;  // of failures, or, without an error, of the bytes that are moved
        std::function<void()> transfer;
        uint64_t calls;  // a register whose address was not written is not read
        const char* message;
        std::string retries = "";
    } cases[] = {
        {Call::WRITE, EIO, 1, write_, 1, "I2C: error writing to BUS (for expander): Input/output error"},
        {Call::WRITE, 0, 2, writeRegisters_, 1, "I2C: wrote 2 of 3 bytes to BUS (for expander)"},
        {Call::READ, EIO, 1, read_, 1, "I2C: error reading from BUS (for expander): Input/output error"},
        {Call::READ, 0, 1, read_, 1, "I2C: read 1 of 2 bytes from BUS (for expander)"},
        {Call::WRITE, EIO, 1, readRegister_, 1,
         "I2C: error writing register address to BUS (for expander): Input/output error"},
        {Call::WRITE, 0, 0, readRegister_, 1,
         "I2C: wrote 0 of 1 byte of register address to BUS (for expander)"},
        {Call::READ, ENXIO, 1, readRegister_, 2,
         "I2C: error reading from BUS (for expander): No such device or address"},
        {Call::READ, 0, 0, readRegister_, 2, "I2C: read 0 of 1 byte from BUS (for expander)"},
        {Call::READ, 0, 2, readRegisters_, 2, "I2C: read 2 of 3 bytes from BUS (for expander)"},
        {Call::READ, EAGAIN, 1, readRegister_, 3, kNothingThrown, "1 retry"},
        {Call::READ, EAGAIN, 5, read_, 6, kNothingThrown, "5 retries"},
        {Call::READ, EAGAIN, 6, readRegisters_, 7,
         "I2C: error reading from BUS (for expander): Resource temporarily unavailable", "5 retries"},
        {Call::WRITE, EAGAIN, 2, write_, 3, kNothingThrown, "2 retries"},
        {Call::WRITE, EAGAIN, 6, readRegister_, 6,
         "I2C: error writing register address to BUS (for expander): Resource temporarily unavailable",
         "5 retries"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        DebugCapture debug;
        const uint64_t calls = board_.Count(Call::WRITE) + board_.Count(Call::READ);
        c.error != 0 ? board_.Fail(c.call, c.error, c.count) : board_.Shorten(c.call, c.count);
        EXPECT_EQ(ThrownBy(c.transfer), c.message);
        EXPECT_EQ(board_.Count(Call::WRITE) + board_.Count(Call::READ), calls + c.calls);
        EXPECT_EQ(debug.Lines(), c.retries.empty() ? Lines()
                                                   : Lines{"I2C: " + c.retries + " reading from " + bus_ +
                                                           " (for expander)"});
        EXPECT_TRUE(IsBusFree());
        i2c_.WriteRegister("expander", 1, 0x5A);
        EXPECT_EQ(i2c_.ReadRegister("expander", 1), 0x5A);
    }
    EXPECT_EQ(ThrownBy([&] { i2c_.WriteRegister("ghost", 1, 2); }),
              "I2C: error writing to BUS (for ghost): No such device or address");
}

TEST_F(I2CAccessTest, KeepsTheNamedLockWhenADeviceCannotBeSelected) {
    I2CAccess other(board_);
    ASSERT_EQ(AddTo(other, bus_ + " 0x21 expander"), kNothingThrown);
    board_.Fail(Call::IOCTL, EBUSY);
    EXPECT_EQ(ThrownBy(readRegister_), "I2C: failed to set device address on BUS (for expander)");
    EXPECT_FALSE(IsBusFree());
    EXPECT_THAT(ThrownBy([&] { other.ReadRegister("expander", 1); }),
                testing::StartsWith("NamedLock: attempt to lock /var/lock/LCK..BUS timed out after "));
    // Whoever left it so goes on, on any of its threads, and then the bus is free.
    std::thread([&] { EXPECT_EQ(i2c_.Read("eeprom", 1), Bytes{0}); }).join();
    EXPECT_EQ(other.ReadRegister("expander", 1), 0);
}

/// A bus whose reads wait until they are let go.
class HeldBus final : public DeviceIO {
public:
    int32_t Open(const std::string&, int32_t, uint32_t) override { return 1 << 20; }
    int32_t Close(int32_t) override { return 0; }
    int32_t IOCtl(int32_t, unsigned long, void*) override { return ++transfers, 0; }
    ssize_t Write(int32_t, const void*, size_t length) override { return ssize_t(length); }
    ssize_t Read(int32_t, void* data, size_t length) override {
        entered.Raise();
        letGo.WaitFor(20000);
        memset(data, 0x5A, length);
        return ssize_t(length);
    }
    int64_t Seek(int32_t, int64_t, int32_t) override { return -1; }
    int32_t Truncate(int32_t, int64_t) override { return -1; }
    int32_t Sync(int32_t) override { return -1; }
    int64_t FileSize(const std::string&) override { return -1; }
    void* Map(size_t, int32_t, int32_t, int32_t, int64_t) override { return nullptr; }
    int32_t Unmap(void*, size_t) override { return -1; }
    uint32_t Read32(const volatile uint32_t*) override { return 0; }
    void Write32(volatile uint32_t*, uint32_t) override {}

    std::atomic<uint32_t> transfers{0};
    PermanentCondition entered, letGo;
};

TEST(I2CBusTest, ThreadsWaitForEachOtherForAsLongAsItTakes) {
    const BusName bus;
    HeldBus held;
    I2CAccess i2c(held), other(held);
    i2c.Configure("i2c", {bus.text, "1", "device"});
    other.Configure("i2c", {bus.text, "1", "device"});
    PermanentCondition finished;
    const auto read = [&](I2CAccess& access) {
        EXPECT_EQ(ThrownMessage([&] { EXPECT_EQ(access.ReadRegister("device", 0), 0x5A); }), kNothingThrown);
        finished.Raise();
    };
    std::thread first(read, std::ref(i2c));
    EXPECT_TRUE(held.entered.WaitFor(20000));
    std::thread second(read, std::ref(i2c)), third(read, std::ref(other));
    EXPECT_FALSE(finished.WaitFor(200));  // twice as long as processes wait for each other
    EXPECT_EQ(held.transfers, 1u);
    EXPECT_FALSE(NamedLock(bus.text).TryLock());  // other processes wait as well
    held.letGo.Raise();
    for (std::thread* thread : {&first, &second, &third})
        thread->join();
    EXPECT_EQ(held.transfers, 3u);
}

TEST_F(I2CAccessTest, RefusesDefectiveLinesAndClosesItsBuses) {
    ExpectRefused({
        {bus_ + " 0x21", "I2C: wrong number of fields"},
        {bus_ + " 128 new", "I2C: bad 7-bit device address"},
        {bus_ + " 0x21h expander", "I2C: bad 7-bit device address"},
        {bus_ + " 0x23 expander", "I2C: Attempt to add duplicate device \"expander\""},
        {"quarn-no-such-folder/i2c 0x21 new",
         "NamedLock: could not create /var/lock/LCK..quarn-no-such-folder/i2c: No such file or directory"},
    });
    const size_t held = board_.Held();
    DebugCapture debug(DEBUG_ERR);
    {
        I2CAccess i2c(board_);
        board_.Fail(Call::OPEN, EACCES);
        EXPECT_EQ(AddTo(i2c, bus_ + " 0x21 new"),
                  "I2C: Could not open I2C bus device /dev/" + bus_ + ": Permission denied");
        EXPECT_EQ(board_.Held(), held);
        EXPECT_THAT(i2c.Execute("i2c", {"list"}), ElementsAre("I2C: no matching devices"));
        EXPECT_EQ(AddTo(i2c, bus_ + " 127 new"), kNothingThrown);
        board_.Fail(Call::CLOSE, EIO);
    }
    EXPECT_THAT(debug.Lines(), ElementsAre("I2C: could not close /dev/" + bus_ + ": Input/output error"));
    EXPECT_EQ(board_.Held(), held);
}

TEST_F(I2CAccessTest, RunsConsoleLines) {
    board_.SetI2CByte(bus_, 0x21, 0x31, 0xB1);
    const std::string gap(bus_.size() - 3, ' ');
    const std::pair<std::string, Response> cases[] = {
        {"expander 0x30-0x32", {"30: 00", "31: B1", "32: 00"}},
        {"expander 254-255", {"FE: 00", "FF: 00"}},
        {"expander 0x41 2 0xFF", {"wrote 2 bytes"}},
        {"expander 64-64 3", {"wrote 1 bytes"}},
        {"expander 0x40-0x42", {"40: 03", "41: 02", "42: FF"}},
        {"eeprom w 0", {"wrote 1 bytes"}},
        // Read as a whole first, then again line by line.
        {"eeprom r 18",
         {"0x12 0x13 0x14 0x15 0x16 0x17 0x18 0x19 0x1A 0x1B 0x1C 0x1D 0x1E 0x1F 0x20 0x21", "0x22 0x23"}},
        {"eeprom r", {"0x25"}},
        {"eeprom r 0", {}},
        {"list nothing",
         {"name      bus" + gap + "  addr  ", "expander  " + bus_ + "  0x21  ",
          "eeprom    " + bus_ + "  0x50  ", "ghost     " + bus_ + "  0x22  "}},
    };
    for (const auto& [line, response] : cases)
        EXPECT_EQ(Run(line), response) << line;
    EXPECT_EQ(Run("eeprom r 256").size(), 16u);
    ExpectFailures({
        {"nothing", "I2C: too few words in command"},
        {"nothing r", "I2C: unknown device \"nothing\""},
        {"eeprom r 257", "I2C: bad byte count (limit is 256)"},
        {"eeprom r 1 2", "I2C: bad command format"},
        {"eeprom w", "I2C: no data specified"},
        {"expander 256", "I2C: bad register address for read"},
        {"expander 0x32-0x30", "I2C: first register address must be smaller than second"},
        {"expander R 1", "I2C: bad register address for write"},
        {"expander 0x31-0x30 1", "I2C: cannot write to register range"},
        {"expander 1 1x", "Could not convert \"1x\" to uint32"},
    });
    EXPECT_THAT(i2c_.Execute("bus", {}),
                testing::Contains("bus list <pattern>            list specified devices(s)"));
}

}  // namespace
}  // namespace quarn::test
