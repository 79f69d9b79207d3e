#include <quarn/sim/SimulatedBoard.h>

#include "sim/BoardCalls.h"
#include "support/TempDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>

#include <string>
#include <thread>
#include <vector>

namespace quarn::sim {
namespace {

using testing::ElementsAre;

class BoardFaultsTest : public testing::Test {
protected:
    BoardFaultsTest() {
        board_.AddEEPROMFile("/dev/eeprom", 64);
        board_.AddGPIOChip("chip", 4);
        board_.AddMemory(0x1000, 4096);
    }

    SimulatedBoard board_;
};

TEST_F(BoardFaultsTest, FailuresAndShortTransfersAreCounted) {
    const int32_t fd = board_.Open("/dev/eeprom", O_RDWR);
    std::vector<uint8_t> bytes(8, 1);
    const auto write = [&] { return Result(board_.Write(fd, bytes.data(), bytes.size())); };
    board_.Fail(Call::WRITE, EAGAIN, 1, 1);
    board_.Shorten(Call::WRITE, 3, 2);
    EXPECT_THAT((std::vector<int64_t>{write(), write(), write(), write()}), ElementsAre(3, -EAGAIN, 3, 8));
    EXPECT_EQ(board_.Count(Call::WRITE), 4u);
    board_.Fail(Call::WRITE, EIO, 9);
    board_.Shorten(Call::WRITE, 0, 9);
    board_.ClearFaults();
    EXPECT_EQ(write(), 8);
    EXPECT_EQ(board_.Seek(fd, 0, SEEK_CUR), 3 + 3 + 8 + 8);
    board_.Shorten(Call::READ, 2);
    EXPECT_EQ(board_.Read(fd, bytes.data(), 8), 2);
    board_.Fail(Call::SIZE, EACCES);
    EXPECT_EQ(Result(board_.FileSize("/dev/eeprom")), -EACCES);
    board_.Fail(Call::CLOSE, EIO);
    EXPECT_EQ(Result(board_.Close(fd)), -EIO);
    EXPECT_EQ(Result(board_.Close(fd)), -EBADF);
}

TEST_F(BoardFaultsTest, ARemovedDeviceStaysDeadForWhoeverHasIt) {
    const int32_t fd = board_.Open("/dev/eeprom", O_RDWR);
    board_.Remove("/dev/eeprom");
    uint8_t byte = 0;
    EXPECT_EQ(Result(board_.Read(fd, &byte, 1)), -ENODEV);
    EXPECT_EQ(Result(board_.Open("/dev/eeprom", O_RDWR)), -ENOENT);
    board_.PutBack("/dev/eeprom");
    EXPECT_EQ(Result(board_.Read(fd, &byte, 1)), -ENODEV);
    EXPECT_EQ(board_.Close(fd), 0);
    EXPECT_EQ(board_.Read(board_.Open("/dev/eeprom", O_RDWR), &byte, 1), 1);
}

TEST_F(BoardFaultsTest, ServesAnyThread) {
    constexpr uint32_t kThreads = 3, kRounds = 2000;
    board_.AddI2CRegisters("i2c-1", 0, 8);
    const int32_t memory = board_.Open("/dev/mem", O_RDWR);
    auto* const words =
        static_cast<volatile uint32_t*>(board_.Map(4096, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0x1000));
    const auto work = [&](uint8_t index) {
        for (uint32_t i = 0; i < kRounds; ++i) {
            const int32_t bus = board_.Open("/dev/i2c-1", O_RDWR);
            const auto chip = board_.OpenChip("/dev/gpiochip0");
            const auto lines = chip->GetLines({index});
            const uint8_t bytes[] = {index, 1};
            board_.Write(bus, bytes, sizeof bytes);
            board_.Write32(words + index, board_.Read32(words + index) + 1);
            if (lines->RequestOutput("me", {1}) != 0 || !board_.LineLevel("chip", index))
                ADD_FAILURE() << "line " << int(index);
            board_.Close(bus);
        }
    };
    std::vector<std::thread> threads;
    for (uint8_t index = 0; index < kThreads; ++index)
        threads.emplace_back(work, index);
    for (std::thread& thread : threads)
        thread.join();
    for (uint32_t index = 0; index < kThreads; ++index)
        EXPECT_EQ(board_.Word(0x1000 + 4 * index), kRounds);
    EXPECT_EQ(board_.Count(Call::WRITE), kThreads * kRounds);
    EXPECT_EQ(board_.Count(Call::REQUEST_LINES), kThreads * kRounds);
    EXPECT_EQ(board_.Held(), 2u);
}

TEST_F(BoardFaultsTest, PassesOnWhatIsNoDevice) {
    const test::TempDirectory folder;
    const std::string path = folder.File("settings");
    const auto create = [&](const std::string& where) {
        return Result(board_.Open(where, O_RDWR | O_CREAT, 0600));
    };
    EXPECT_EQ(create(path), -ENOENT);
    board_.PassOn(DeviceIO::System());
    for (const char* device : {"/dev/null", "//dev/null", "/tmp/../dev/null", "/proc/version", "/sys/kernel"})
        EXPECT_EQ(create(device), -ENOENT) << device;

    const int32_t fd = int32_t(create(path));
    EXPECT_EQ(board_.Write(fd, "abc", 3), 3);
    board_.Fail(Call::SYNC, EIO);
    EXPECT_EQ(Result(board_.Sync(fd)), -EIO);
    EXPECT_EQ(board_.Sync(fd), 0);
    EXPECT_EQ(board_.Truncate(fd, 8), 0);
    void* const mapped = board_.Map(8, PROT_READ, MAP_SHARED, fd, 0);
    EXPECT_EQ(board_.Read32(static_cast<volatile uint32_t*>(mapped)), 0x00636261u);
    EXPECT_EQ(board_.Held(), 2u);
    EXPECT_EQ(board_.Unmap(mapped, 8), 0);
    EXPECT_EQ(board_.Close(fd), 0);
    EXPECT_EQ(board_.Held(), 0u);
}

}  // namespace
}  // namespace quarn::sim
