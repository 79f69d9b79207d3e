#include <quarn/I2CAccess.h>
#include <quarn/NamedLock.h>
#include <quarn/Parse.h>
#include <quarn/PermanentCondition.h>
#include <quarn/sim/SimulatedBoard.h>

#include "devices/AccessorFixture.h"
#include "support/AllocationWatch.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>

namespace quarn {
namespace {

using sim::Call;
using sim::SimulatedBoard;
using test::DebugCapture;
using test::ThrownMessage;
using testing::ElementsAre;
using testing::IsEmpty;

using Bytes = std::vector<uint8_t>;

/// A bus of this test program alone; the file of its lock is deleted at the end.
struct BusName {
    ~BusName() { unlink(("/var/lock/LCK.." + text).c_str()); }

    const std::string text = "i2c-quarn-test-" + std::to_string(getpid());
};

class I2CAccessTest : public test::AccessorFixture {
protected:
    I2CAccessTest() : AccessorFixture("i2c", "i2c") {
        board_.AddI2CRegisters(bus_, 0x21, 256);
        board_.AddI2CEEPROM(bus_, 0x50, 256, 16);
        for (size_t i = 0; i < 256; ++i)
            board_.SetI2CByte(bus_, 0x50, i, uint8_t(i));
        for (const char* device : {" 0x21 expander", " 80 eeprom", " 0x22 ghost"})
            AddAll({(bus_ + device).c_str()});
    }

    Accessor& Tested() override { return i2c_; }
    bool IsBusFree() {
        NamedLock lock(bus_);
        return lock.TryLock();
    }
    /// The message with "BUS" for the bus.
    std::string Anonymous(std::string message) const {
        for (size_t at; (at = message.find(bus_)) != std::string::npos;)
            message.replace(at, bus_.size(), "BUS");
        return message;
    }

    const BusName name_;
    const std::string& bus_ = name_.text;
    I2CAccess i2c_{board_};
};

TEST_F(I2CAccessTest, MovesBytesInAsFewCallsAsItTakes) {
    const Bytes two = {1, 2};
    const struct {
        const char* what;
        std::function<Bytes()> transfer;
        Bytes result;
        uint64_t writes, reads;
    } cases[] = {
        {"WriteRegister", [&] { return i2c_.WriteRegister("expander", 7, 5), Bytes(); }, {}, 1, 0},
        {"ReadRegister", [&] { return Bytes{i2c_.ReadRegister("expander", 7)}; }, {5}, 1, 1},
        {"WriteRegisters", [&] { return i2c_.WriteRegisters("expander", 8, two), Bytes(); }, {}, 1, 0},
        {"ReadRegisters", [&] { return i2c_.ReadRegisters("expander", 7, 3); }, {5, 1, 2}, 1, 1},
        {"no registers", [&] { return i2c_.ReadRegisters("expander", 7, 0); }, {}, 1, 1},
        {"Write", [&] { return i2c_.Write("eeprom", {0xFE}), Bytes(); }, {}, 1, 0},
        {"Read", [&] { return i2c_.Read("eeprom", 3); }, {0xFE, 0xFF, 0}, 0, 1},
    };
    EXPECT_EQ(board_.Count(Call::OPEN), 1u);
    for (const auto& c : cases) {
        const uint64_t selected = board_.Count(Call::IOCTL), written = board_.Count(Call::WRITE),
                       read = board_.Count(Call::READ);
        EXPECT_EQ(c.transfer(), c.result) << c.what;
        EXPECT_EQ(board_.Count(Call::IOCTL), selected + 1) << c.what;
        EXPECT_EQ(board_.Count(Call::WRITE), written + c.writes) << c.what;
        EXPECT_EQ(board_.Count(Call::READ), read + c.reads) << c.what;
        EXPECT_TRUE(IsBusFree()) << c.what;
    }
    for (uint8_t i = 0; i < 3; ++i)
        EXPECT_EQ(board_.I2CByte(bus_, 0x21, 7u + i), Bytes({5, 1, 2})[i]);
}

TEST_F(I2CAccessTest, TellsWhatFailedAndStaysUsable) {
    const auto nothing = [] {};
    const auto fail = [&](Call call) { return [this, call] { board_.Fail(call, EIO); }; };
    const auto shorten = [&](Call call, size_t most) {
        return [this, call, most] { board_.Shorten(call, most); };
    };
    const auto write = [&] { i2c_.Write("expander", {1, 2, 3}); };
    const auto writeRegisters = [&] { i2c_.WriteRegisters("expander", 1, {2, 3}); };
    const auto read = [&] { i2c_.Read("expander", 2); };
    const auto readRegister = [&] { i2c_.ReadRegister("expander", 1); };
    const auto readRegisters = [&] { i2c_.ReadRegisters("expander", 1, 3); };
    const struct {
        std::function<void()> fault;
        std::function<void()> transfer;
        uint64_t calls;  // a register whose address was not written is not read
        const char* message;
    } cases[] = {
        {fail(Call::WRITE), write, 1, "I2C: error writing to BUS (for expander): Input/output error"},
        {fail(Call::WRITE), writeRegisters, 1,
         "I2C: error writing to BUS (for expander): Input/output error"},
        {nothing, [&] { i2c_.WriteRegister("ghost", 1, 2); }, 1,
         "I2C: error writing to BUS (for ghost): No such device or address"},
        {shorten(Call::WRITE, 2), writeRegisters, 1, "I2C: wrote 2 of 3 bytes to BUS (for expander)"},
        {fail(Call::READ), read, 1, "I2C: error reading from BUS (for expander): Input/output error"},
        {shorten(Call::READ, 1), read, 1, "I2C: read 1 of 2 bytes from BUS (for expander)"},
        {nothing, [&] { i2c_.Read("eeprom", 8193); }, 1,
         "I2C: read 8192 of 8193 bytes from BUS (for eeprom)"},
        {fail(Call::WRITE), readRegister, 1,
         "I2C: error writing register address to BUS (for expander): Input/output error"},
        {shorten(Call::WRITE, 0), readRegister, 1,
         "I2C: wrote 0 of 1 byte of register address to BUS (for expander)"},
        {fail(Call::READ), readRegister, 2, "I2C: error reading from BUS (for expander): Input/output error"},
        {shorten(Call::READ, 0), readRegister, 2, "I2C: read 0 of 1 byte from BUS (for expander)"},
        {shorten(Call::READ, 2), readRegisters, 2, "I2C: read 2 of 3 bytes from BUS (for expander)"},
        {nothing, [&] { i2c_.Read("Expander", 1); }, 0, "I2C: unknown device \"Expander\""},
    };
    DebugCapture debug;
    for (const auto& c : cases) {
        const uint64_t calls = board_.Count(Call::WRITE) + board_.Count(Call::READ);
        c.fault();
        EXPECT_EQ(Anonymous(ThrownMessage(c.transfer)), c.message);
        EXPECT_EQ(board_.Count(Call::WRITE) + board_.Count(Call::READ), calls + c.calls) << c.message;
        EXPECT_TRUE(IsBusFree()) << c.message;
        i2c_.WriteRegister("expander", 1, 0x5A);
        EXPECT_EQ(i2c_.ReadRegister("expander", 1), 0x5A) << c.message;
    }
    EXPECT_THAT(debug.Lines(), IsEmpty());  // nothing was retried
}

TEST_F(I2CAccessTest, KeepsTheNamedLockWhenADeviceCannotBeSelected) {
    I2CAccess other(board_);
    ASSERT_EQ(AddTo(other, bus_ + " 0x21 expander"), "(nothing thrown)");
    board_.Fail(Call::IOCTL, EBUSY);
    EXPECT_EQ(Anonymous(ThrownMessage([&] { i2c_.ReadRegister("expander", 1); })),
              "I2C: failed to set device address on BUS (for expander)");
    EXPECT_FALSE(IsBusFree());
    EXPECT_THAT(Anonymous(ThrownMessage([&] { other.ReadRegister("expander", 1); })),
                testing::StartsWith("NamedLock: attempt to lock /var/lock/LCK..BUS timed out after "));
    // Whoever left it so goes on, on any of its threads, and then the bus is free.
    std::thread([&] { EXPECT_EQ(i2c_.Read("eeprom", 1), Bytes{0}); }).join();
    EXPECT_EQ(other.ReadRegister("expander", 1), 0);
}

TEST_F(I2CAccessTest, RepeatsAtOnceWhatABusyBusRefuses) {
    const auto readRegister = [&] { i2c_.ReadRegister("expander", 1); };
    const auto write = [&] { i2c_.Write("expander", {1}); };
    const struct {
        Call call;
        uint64_t refusals;
        std::function<void()> transfer;
        uint64_t attempts;
        const char* retries;
        const char* message;
    } cases[] = {
        {Call::READ, 1, readRegister, 2, "I2C: 1 retry reading from BUS (for expander)", "(nothing thrown)"},
        {Call::READ, 2, readRegister, 3, "I2C: 2 retries reading from BUS (for expander)",
         "(nothing thrown)"},
        {Call::READ, 5, readRegister, 6, "I2C: 5 retries reading from BUS (for expander)",
         "(nothing thrown)"},
        {Call::READ, 6, readRegister, 6, "I2C: 5 retries reading from BUS (for expander)",
         "I2C: error reading from BUS (for expander): Resource temporarily unavailable"},
        {Call::WRITE, 5, readRegister, 6, "I2C: 5 retries reading from BUS (for expander)",
         "(nothing thrown)"},
        {Call::WRITE, 6, readRegister, 6, "I2C: 5 retries reading from BUS (for expander)",
         "I2C: error writing register address to BUS (for expander): Resource temporarily unavailable"},
        {Call::WRITE, 1, write, 2, "I2C: 1 retry reading from BUS (for expander)", "(nothing thrown)"},
        {Call::WRITE, 6, write, 6, "I2C: 5 retries reading from BUS (for expander)",
         "I2C: error writing to BUS (for expander): Resource temporarily unavailable"},
    };
    for (const auto& c : cases) {
        DebugCapture debug(DEBUG_ERR);
        const uint64_t before = board_.Count(c.call);
        board_.Fail(c.call, EAGAIN, c.refusals);
        EXPECT_EQ(Anonymous(ThrownMessage(c.transfer)), c.message);
        EXPECT_EQ(board_.Count(c.call) - before, c.attempts);
        ASSERT_EQ(debug.Lines().size(), 1u);
        EXPECT_EQ(Anonymous(debug.Lines()[0]), c.retries);
    }
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
        EXPECT_EQ(ThrownMessage([&] { EXPECT_EQ(access.ReadRegister("device", 0), 0x5A); }),
                  "(nothing thrown)");
        finished.Raise();
    };
    std::thread first(read, std::ref(i2c));
    EXPECT_TRUE(held.entered.WaitFor(20000));
    std::thread second(read, std::ref(i2c)), third(read, std::ref(other));
    EXPECT_FALSE(finished.WaitFor(200));  // twice as long as processes wait for each other
    EXPECT_EQ(held.transfers, 1u);
    EXPECT_FALSE(NamedLock(bus.text).TryLock());
    held.letGo.Raise();
    for (std::thread* thread : {&first, &second, &third})
        thread->join();
    EXPECT_EQ(held.transfers, 3u);
}

TEST(I2CBusTest, ReadsARegisterWithoutAllocating) {
    const BusName bus;
    HeldBus io;
    io.letGo.Raise();
    I2CAccess i2c(io);
    i2c.Configure("i2c", {bus.text, "1", "device with a long name"});
    const std::string name = "device with a long name";
    const test::AllocationWatch watch;
    EXPECT_EQ(i2c.ReadRegister(name, 0), 0x5A);
    i2c.WriteRegister(name, 0, 1);
    EXPECT_EQ(watch.Largest(), 0u);
}

TEST_F(I2CAccessTest, RefusesDefectiveLines) {
    const struct {
        std::string line;
        const char* message;
    } cases[] = {
        {bus_ + " 0x21", "I2C: wrong number of fields"},
        {bus_ + " 0x21 name more", "I2C: wrong number of fields"},
        {bus_ + " 128 new", "I2C: bad 7-bit device address"},
        {bus_ + " 0x21h expander", "I2C: bad 7-bit device address"},
        {bus_ + " 0x23 expander", "I2C: Attempt to add duplicate device \"expander\""},
        {"quarn-no-such-folder/i2c 0x21 new",
         "NamedLock: could not create /var/lock/LCK..quarn-no-such-folder/i2c: No such file or directory"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Add(c.line), c.message) << c.line;

    I2CAccess empty(board_);
    const size_t held = board_.Held();
    board_.Fail(Call::OPEN, EACCES);
    EXPECT_EQ(Anonymous(AddTo(empty, bus_ + " 0x21 new")),
              "I2C: Could not open I2C bus device /dev/BUS: Permission denied");
    EXPECT_EQ(board_.Held(), held);
    EXPECT_THAT(empty.Execute("i2c", {"list"}), ElementsAre("I2C: no matching devices"));
    EXPECT_EQ(AddTo(empty, bus_ + " 127 new"), "(nothing thrown)");
    EXPECT_EQ(ThrownMessage([&] { i2c_.Read("new", 1); }), "I2C: unknown device \"new\"");
}

TEST_F(I2CAccessTest, RunsConsoleLines) {
    for (uint8_t reg = 0x30; reg < 0x33; ++reg)
        board_.SetI2CByte(bus_, 0x21, reg, uint8_t(reg + 0x80));
    const struct {
        const char* line;
        std::list<std::string> response;
    } cases[] = {
        {"expander 0x30-0x32", {"30: B0", "31: B1", "32: B2"}},
        {"expander 5-5", {"05: 00"}},
        {"expander 0x31", {"31: B1"}},
        {"expander 254-255", {"FE: 00", "FF: 00"}},
        {"expander 0x40 1", {"wrote 1 bytes"}},
        {"expander 0x41 2 0xFF", {"wrote 2 bytes"}},
        {"expander 64-64 3", {"wrote 1 bytes"}},
        {"expander 0x40-0x42", {"40: 03", "41: 02", "42: FF"}},
        {"expander w 0x40 7 8", {"wrote 3 bytes"}},
        {"expander 0x40-0x41", {"40: 07", "41: 08"}},
        {"eeprom w 0", {"wrote 1 bytes"}},
        // Read as a whole first, then again line by line.
        {"eeprom r 18",
         {"0x12 0x13 0x14 0x15 0x16 0x17 0x18 0x19 0x1A 0x1B 0x1C 0x1D 0x1E 0x1F 0x20 0x21", "0x22 0x23"}},
        {"eeprom r", {"0x25"}},
        {"eeprom r 0", {}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Run(c.line), c.response) << c.line;
    EXPECT_EQ(Run("eeprom r 256").size(), 16u);

    const struct {
        const char* line;
        const char* message;
    } failures[] = {
        {"expander", "I2C: too few words in command"},
        {"nothing", "I2C: too few words in command"},
        {"nothing r", "I2C: unknown device \"nothing\""},
        {"ghost r", "I2C: error reading from BUS (for ghost): No such device or address"},
        {"eeprom r 257", "I2C: bad byte count (limit is 256)"},
        {"eeprom r x", "I2C: bad byte count (limit is 256)"},
        {"eeprom r 1 2", "I2C: bad command format"},
        {"eeprom w", "I2C: no data specified"},
        {"eeprom w 1 256", "Value \"256\" is not in the range 0..255"},
        {"expander 256", "I2C: bad register address for read"},
        {"expander 1-2-3", "I2C: bad register address for read"},
        {"expander 0x32-0x30", "I2C: first register address must be smaller than second"},
        {"expander R 1", "I2C: bad register address for write"},
        {"expander 0x30-0x31 1", "I2C: cannot write to register range"},
        {"expander 0x31-0x30 1", "I2C: cannot write to register range"},
        {"expander 1 1x", "Could not convert \"1x\" to uint32"},
    };
    for (const auto& c : failures)
        EXPECT_EQ(Anonymous(Failure(c.line)), c.message) << c.line;
}

TEST_F(I2CAccessTest, ListsAndExplains) {
    SimulatedBoard board;
    board.AddI2CRegisters(bus_, 1, 1);
    I2CAccess i2c(board);
    for (const char* line : {" 0x7F zeta", " 10 alpha"})
        ASSERT_EQ(AddTo(i2c, bus_ + line), "(nothing thrown)");
    const std::string gap(bus_.size() - 3, ' ');
    for (const char* pattern : {"list", "list z*", "list nothing"})
        EXPECT_THAT(i2c.Execute("i2c", Tokenize(pattern)),
                    ElementsAre("name   bus" + gap + "  addr  ", "zeta   " + bus_ + "  0x7F  ",
                                "alpha  " + bus_ + "  0x0A  "));
    EXPECT_THAT(i2c.GetConsoleCommands(false), ElementsAre("i2c"));
    EXPECT_THAT(i2c.GetConsoleCommands(true), ElementsAre("i2c: I2C device access"));
    EXPECT_THAT(i2c.GetConfigurationSections(), ElementsAre("i2c"));
    EXPECT_THAT(i2c.Execute("bus", {}),
                ElementsAre("i2c: I2C device access", "",  //
                            "bus list                      list all devices",
                            "bus list <pattern>            list specified devices(s)",
                            "bus <name> r                  read one raw byte from a device",
                            "bus <name> r <count>          read <count> raw byte(s) from a device",
                            "bus <name> w <byte> ...       write one or more raw byte(s) to a device",
                            "bus <name> <addr>             read a register on a device",
                            "bus <name> <range>            read a range of registers on a device",
                            "bus <name> <addr> <byte> ...  write to register(s) on a specified device", "",
                            "  <pattern>   is a device name with optional * wildcard(s)",
                            "  <name>      is a device name",
                            "  <addr>      is a register address (decimal, or 0x for hex)",
                            "  <range>     is a register range separated by a dash (ex: 0x30-0x3F)",
                            "  <byte> ...  is one or more space-separated bytes (decimal, or 0x for hex)"));
}

TEST_F(I2CAccessTest, ClosesItsBusesAndPrintsWhatFails) {
    SimulatedBoard board;
    board.AddI2CRegisters(bus_, 1, 1);
    DebugCapture debug(DEBUG_ERR);
    {
        I2CAccess i2c(board);
        ASSERT_EQ(AddTo(i2c, bus_ + " 1 device"), "(nothing thrown)");
        board.Fail(Call::CLOSE, EIO);
    }
    EXPECT_THAT(debug.Lines(), ElementsAre("I2C: could not close /dev/" + bus_ + ": Input/output error"));
    EXPECT_EQ(board.Held(), 0u);
}

}  // namespace
}  // namespace quarn
