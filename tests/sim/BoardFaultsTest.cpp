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

TEST_F(BoardFaultsTest, EveryCallCanFail) {
    const auto chip = board_.OpenChip("/dev/gpiochip0");
    const auto lines = chip->GetLines({0});
    const auto others = chip->GetLines({1});
    ASSERT_EQ(lines->RequestInput("me"), 0);
    const int32_t memory = board_.Open("/dev/mem", O_RDWR);
    void* const mapped = board_.Map(4096, PROT_READ, MAP_SHARED, memory, 0x1000);
    std::vector<GPIOChips::ChipName> chips;
    std::vector<int> values(1);
    uint8_t bytes[4] = {};
    int32_t fd = 0;
    const struct {
        Call call;
        std::function<int64_t()> make;
    } cases[] = {
        {Call::OPEN, [&] { return (fd = board_.Open("/dev/eeprom", O_RDWR)) < 0 ? -1 : 0; }},
        {Call::READ, [&] { return board_.Read(fd, bytes, 0); }},
        {Call::WRITE, [&] { return board_.Write(fd, bytes, 0); }},
        {Call::SEEK, [&] { return board_.Seek(fd, 0, SEEK_SET); }},
        {Call::SYNC, [&] { return board_.Sync(fd); }},
        {Call::SIZE, [&] { return board_.FileSize("/dev/mem"); }},
        {Call::MAP,
         [&] { return board_.Map(4096, PROT_READ, MAP_SHARED, memory, 0x1000) == MAP_FAILED ? -1 : 0; }},
        {Call::UNMAP, [&] { return board_.Unmap(mapped, 4096); }},
        {Call::LIST_CHIPS, [&] { return board_.List(chips); }},
        {Call::OPEN_CHIP, [&] { return board_.OpenChip("/dev/gpiochip0") ? 0 : -1; }},
        {Call::GET_LINES, [&] { return chip->GetLines({2}) ? 0 : -1; }},
        {Call::REQUEST_LINES, [&] { return others->RequestInput("me"); }},
        {Call::GET_VALUES, [&] { return lines->GetValues(values); }},
        {Call::SET_OUTPUT, [&] { return lines->SetDirectionOutput(values); }},
        {Call::SET_VALUES, [&] { return lines->SetValues(values); }},
        {Call::SET_INPUT, [&] { return lines->SetDirectionInput(); }},
    };
    for (const auto& c : cases) {
        const uint64_t before = board_.Count(c.call);
        board_.Fail(c.call, EREMOTEIO, 2);
        EXPECT_EQ(Result(c.make), -EREMOTEIO) << int(c.call);
        EXPECT_EQ(Result(c.make), -EREMOTEIO) << int(c.call);
        EXPECT_EQ(Result(c.make), 0) << int(c.call);
        EXPECT_EQ(board_.Count(c.call), before + 3) << int(c.call);
    }
    // These cannot succeed on what is open here.
    board_.Fail(Call::TRUNCATE, EIO);
    board_.Fail(Call::IOCTL, EIO);
    board_.Fail(Call::CLOSE, EIO);
    ExpectResults({
        {"truncate", [&] { return board_.Truncate(fd, 0); }, -EIO},
        {"ioctl", [&] { return board_.IOCtl(fd, 0, nullptr); }, -EIO},
        {"close", [&] { return board_.Close(fd); }, -EIO},
        {"closed all the same", [&] { return board_.Close(fd); }, -EBADF},
    });
}

TEST_F(BoardFaultsTest, FailuresAndShortTransfersAreCounted) {
    const int32_t fd = board_.Open("/dev/eeprom", O_RDWR);
    std::vector<uint8_t> bytes(8, 1);
    const auto write = [&] { return Result([&] { return board_.Write(fd, bytes.data(), bytes.size()); }); };
    board_.Fail(Call::WRITE, EAGAIN, 1, 1);
    board_.Shorten(Call::WRITE, 3, 2);
    EXPECT_THAT((std::vector<int64_t>{write(), write(), write(), write()}), ElementsAre(3, -EAGAIN, 3, 8));
    board_.Fail(Call::WRITE, EIO, 9);
    board_.Shorten(Call::WRITE, 0, 9);
    board_.ClearFaults();
    EXPECT_EQ(write(), 8);
    EXPECT_EQ(Result([&] { return board_.Seek(fd, 0, SEEK_CUR); }), 3 + 3 + 8 + 8);
    board_.Shorten(Call::READ, 2);
    EXPECT_EQ(board_.Read(fd, bytes.data(), 8), 2);
}

TEST_F(BoardFaultsTest, ARemovedDeviceStaysDeadForWhoeverHasIt) {
    const int32_t fd = board_.Open("/dev/eeprom", O_RDWR);
    board_.Remove("/dev/eeprom");
    uint8_t byte = 0;
    ExpectResults({
        {"read", [&] { return board_.Read(fd, &byte, 1); }, -ENODEV},
        {"write", [&] { return board_.Write(fd, &byte, 1); }, -ENODEV},
        {"ioctl", [&] { return board_.IOCtl(fd, 0, nullptr); }, -ENODEV},
        {"open", [&] { return board_.Open("/dev/eeprom", O_RDWR); }, -ENOENT},
        {"size", [&] { return board_.FileSize("/dev/eeprom"); }, -ENOENT},
    });
    board_.PutBack("/dev/eeprom");
    ExpectResults({
        {"read", [&] { return board_.Read(fd, &byte, 1); }, -ENODEV},
        {"close", [&] { return board_.Close(fd); }, 0},
        {"anew", [&] { return board_.Read(board_.Open("/dev/eeprom", O_RDWR), &byte, 1); }, 1},
    });
}

TEST_F(BoardFaultsTest, ServesAnyThread) {
    constexpr uint64_t kRounds = 2000;
    board_.AddI2CRegisters("i2c-1", 0, 8);
    const auto round = [this](uint8_t index) {
        const int32_t bus = board_.Open("/dev/i2c-1", O_RDWR);
        const int32_t memory = board_.Open("/dev/mem", O_RDWR);
        auto* const word = static_cast<volatile uint32_t*>(
                               board_.Map(4096, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0x1000)) +
                           index;
        const auto chip = board_.OpenChip("/dev/gpiochip0");
        const auto lines = chip->GetLines({index});
        const uint8_t bytes[] = {index, 1};
        board_.Write(bus, bytes, sizeof bytes);
        board_.Write32(word, board_.Read32(word) + 1);
        if (lines->RequestOutput("me", {1}) != 0 || !board_.LineLevel("chip", index))
            ADD_FAILURE() << "line " << index;
        board_.Unmap(const_cast<uint32_t*>(word) - index, 4096);
        board_.Close(bus);
        board_.Close(memory);
    };
    std::vector<std::thread> threads;
    for (uint8_t index = 0; index < 3; ++index)
        threads.emplace_back([&, index] {
            for (uint64_t i = 0; i < kRounds; ++i)
                round(index);
        });
    for (std::thread& thread : threads)
        thread.join();
    for (uint32_t index = 0; index < 3; ++index) {
        EXPECT_EQ(board_.Word(0x1000 + 4 * index), kRounds);
        EXPECT_EQ(board_.I2CByte("i2c-1", 0, index), 1);
    }
    EXPECT_EQ(board_.Count(Call::WRITE), 3 * kRounds);
    EXPECT_EQ(board_.Count(Call::REQUEST_LINES), 3 * kRounds);
    EXPECT_EQ(board_.Held(), 0u);
}

TEST_F(BoardFaultsTest, PassesOnWhatIsNoDevice) {
    const test::TempDirectory folder;
    const std::string path = folder.Path() + "/settings";
    const auto create = [&](const std::string& where) {
        return Result([&] { return board_.Open(where, O_RDWR | O_CREAT, 0600) < 0 ? -1 : 0; });
    };
    EXPECT_EQ(create(path), -ENOENT);
    board_.PassOn(DeviceIO::System());
    for (const char* device : {"/dev/null", "//dev/null", "/tmp/../dev/null", "/proc/version", "/sys/kernel"})
        EXPECT_EQ(create(device), -ENOENT) << device;

    const int32_t fd = board_.Open(path, O_RDWR | O_CREAT, 0600);
    EXPECT_EQ(board_.Write(fd, "abc", 3), 3);
    board_.Fail(Call::SYNC, EIO);
    void* mapped = nullptr;
    ExpectResults({
        {"size", [&] { return board_.FileSize(path); }, 3},
        {"sync", [&] { return board_.Sync(fd); }, -EIO},
        {"sync again", [&] { return board_.Sync(fd); }, 0},
        {"seek", [&] { return board_.Seek(fd, 1, SEEK_SET); }, 1},
        {"extend", [&] { return board_.Truncate(fd, 8); }, 0},
        {"map", [&] { return (mapped = board_.Map(8, PROT_READ, MAP_SHARED, fd, 0)) == MAP_FAILED ? -1 : 0; },
         0},
    });
    EXPECT_EQ(board_.Read32(static_cast<volatile uint32_t*>(mapped)), 0x00636261u);
    EXPECT_EQ(board_.Held(), 2u);
    ExpectResults({
        {"unmap", [&] { return board_.Unmap(mapped, 8); }, 0},
        {"close", [&] { return board_.Close(fd); }, 0},
    });
    EXPECT_EQ(board_.Held(), 0u);

    // What is still open when the board goes is closed.
    SimulatedBoard other;
    other.AddEEPROMFile("/settings", 1);
    {
        SimulatedBoard board;
        board.PassOn(other);
        EXPECT_GE(board.Open("/settings", O_RDONLY), 0);
        EXPECT_EQ(other.Held(), 1u);
    }
    EXPECT_EQ(other.Held(), 0u);
}

}  // namespace
}  // namespace quarn::sim
