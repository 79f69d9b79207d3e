#include "devices/DeviceTest.h"

#include <string.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace quarn::test {
namespace {

// A bus of this test program alone, whose lock is a file of the machine.
class I2CAccessTest : public testing::Test {
protected:
    ~I2CAccessTest() override { unlink(("/var/lock/LCK.." + bus_).c_str()); }

    bool IsBusFree() const { return NamedLock(bus_).TryLock(); }

    const std::string bus_ = "i2c-quarn-test-" + std::to_string(getpid());
};

TEST_F(I2CAccessTest, KeepsTheNamedLockWhenADeviceCannotBeSelected) {
    SimulatedBoard board;
    board.AddI2CRegisters(bus_, 0x21, 256);
    I2CAccess i2c(board), other(board);
    i2c.Configure("i2c", {bus_, "0x21", "expander"});
    other.Configure("i2c", {bus_, "0x21", "expander"});
    board.Fail(Call::IOCTL, EBUSY);
    EXPECT_EQ(ThrownMessage([&] { i2c.ReadRegister("expander", 1); }),
              "I2C: failed to set device address on " + bus_ + " (for expander)");
    EXPECT_FALSE(IsBusFree());
    EXPECT_THAT(ThrownMessage([&] { other.ReadRegister("expander", 1); }),
                StartsWith("NamedLock: attempt to lock /var/lock/LCK.." + bus_ + " timed out after "));
    // Whoever left it so goes on, on any of its threads, and then the bus is free.
    std::thread([&] { EXPECT_EQ(i2c.Read("expander", 1), Bytes{0}); }).join();
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

TEST_F(I2CAccessTest, ThreadsWaitForEachOtherForAsLongAsItTakes) {
    HeldBus held;
    I2CAccess i2c(held), other(held);
    i2c.Configure("i2c", {bus_, "1", "device"});
    other.Configure("i2c", {bus_, "1", "device"});
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
    EXPECT_FALSE(IsBusFree());  // other processes wait as well
    held.letGo.Raise();
    for (std::thread* thread : {&first, &second, &third})
        thread->join();
    EXPECT_EQ(held.transfers, 3u);
}

}  // namespace
}  // namespace quarn::test
