#include <quarn/sim/SimulatedBoard.h>

#include "sim/BoardCalls.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>

#include <string>
#include <vector>

namespace quarn::sim {
namespace {

using test::TempDirectory;
using test::ThrownMessage;
using testing::ElementsAre;

constexpr char kEEPROM[] = "/sys/bus/i2c/devices/0-0054/eeprom";

class SimulatedStorageTest : public testing::Test {
protected:
    int64_t Erase(int32_t fd, uint32_t start, uint32_t length) {
        erase_info_user range{start, length};
        return Result(board_.IOCtl(fd, MEMERASE, &range));
    }
    int64_t WriteAt(int32_t fd, int64_t offset, const std::vector<uint8_t>& bytes) {
        EXPECT_EQ(board_.Seek(fd, offset, SEEK_SET), offset);
        return Result(board_.Write(fd, bytes.data(), bytes.size()));
    }
    std::vector<uint8_t> ReadAt(int32_t fd, int64_t offset, size_t count) {
        std::vector<uint8_t> bytes(count);
        EXPECT_EQ(board_.Seek(fd, offset, SEEK_SET), offset);
        bytes.resize(size_t(std::max<ssize_t>(board_.Read(fd, bytes.data(), count), 0)));
        return bytes;
    }

    SimulatedBoard board_;
};

TEST_F(SimulatedStorageTest, FlashRefusesWhatTheKernelWould) {
    board_.AddMTD("persist", 8192, 4096);
    const int32_t fd = board_.Open("/dev/mtd0", O_RDWR);
    EXPECT_EQ(Erase(fd, 1, 4096), -EINVAL);
    EXPECT_EQ(Erase(fd, 0, 4095), -EINVAL);
    EXPECT_EQ(Erase(fd, 4096, 8192), -EINVAL);
    EXPECT_EQ(Erase(fd, 8192, 4096), -EINVAL);
    EXPECT_EQ(Erase(fd, 4096, 4096), 0);
    EXPECT_EQ(Erase(board_.Open("/dev/mtd0", O_RDONLY), 0, 4096), -EPERM);
    mtd_info_user info{};
    EXPECT_EQ(Result(board_.IOCtl(fd, MEMGETBADBLOCK, &info)), -ENOTTY);
    EXPECT_EQ(board_.IOCtl(fd, MEMGETINFO, &info), 0);
    EXPECT_EQ(info.erasesize, 4096u);
    EXPECT_EQ(board_.Seek(fd, 0, SEEK_END), 8192);
    EXPECT_EQ(Result(board_.Write(fd, &info, 1)), -ENOSPC);
    EXPECT_EQ(board_.Read(fd, &info, 1), 0);
    EXPECT_EQ(Result(board_.Seek(fd, 1, SEEK_CUR)), -EINVAL);
    EXPECT_EQ(WriteAt(fd, 8190, {1, 2, 3, 4}), 2);
    EXPECT_EQ(Result(board_.Truncate(fd, 0)), -EINVAL);
    EXPECT_EQ(Result(board_.Sync(fd)), -EINVAL);
}

TEST_F(SimulatedStorageTest, FlashOnlyClearsBitsUntilItIsErased) {
    board_.AddMTD("persist", 8192, 4096);
    const int32_t fd = board_.Open("/dev/mtd0", O_RDWR);
    EXPECT_EQ(WriteAt(fd, 4094, {0xF0, 0xF1, 0xF2}), 3);
    EXPECT_EQ(WriteAt(fd, 4094, {0x1F, 0xFF, 0x00}), 3);
    EXPECT_THAT(ReadAt(fd, 4093, 4), ElementsAre(0xFF, 0x10, 0xF1, 0x00));
    EXPECT_EQ(Erase(fd, 0, 4096), 0);
    EXPECT_THAT(ReadAt(fd, 4094, 3), ElementsAre(0xFF, 0xFF, 0x00));
}

TEST_F(SimulatedStorageTest, AnEEPROMHasAFixedSize) {
    board_.AddEEPROMFile(kEEPROM, 8192);
    board_.AddEEPROMFile("/dev/eeprom", 8192);
    const int32_t fd = board_.Open(kEEPROM, O_RDWR);
    std::vector<uint8_t> bytes(8192);
    EXPECT_EQ(WriteAt(fd, 0, bytes), 4096);  // page by page
    EXPECT_EQ(board_.Read(fd, bytes.data(), 8192), 4096);
    EXPECT_EQ(WriteAt(fd, 8191, {1, 2}), 1);
    EXPECT_EQ(Result(board_.Write(fd, bytes.data(), 1)), -EFBIG);
    EXPECT_EQ(WriteAt(fd, 10000, {1}), -EFBIG);
    EXPECT_EQ(board_.Write(board_.Open("/dev/eeprom", O_RDWR), bytes.data(), 8192), 8192);
    EXPECT_THAT(ReadAt(fd, 8190, 9), ElementsAre(0xFF, 1));
}

TEST_F(SimulatedStorageTest, AFileIsCreatedAndGrows) {
    board_.AddFile("/state/file");
    EXPECT_EQ(Result(board_.Open("/state/file", O_RDWR)), -ENOENT);
    const int32_t fd = board_.Open("/state/file", O_RDWR | O_CREAT | O_EXCL, 0600);
    EXPECT_EQ(Result(board_.Open("/state/file", O_RDWR | O_CREAT | O_EXCL)), -EEXIST);
    EXPECT_EQ(WriteAt(fd, 2, {5, 6}), 2);
    EXPECT_EQ(board_.FileSize("/state/file"), 4);
    EXPECT_EQ(board_.Truncate(fd, 3), 0);
    EXPECT_THAT(board_.Contents("/state/file"), ElementsAre(0, 0, 5));
    board_.Open("/state/file", O_RDWR | O_TRUNC);
    EXPECT_EQ(board_.FileSize("/state/file"), 0);
}

TEST_F(SimulatedStorageTest, LosesPowerInTheMiddleOfAWrite) {
    board_.AddFile("/file");
    board_.AddMTD("persist", 4096, 4096);
    const auto contentsAfterCut = [&](Unsynced unsynced) {
        board_.SetContents("/file", {1, 1, 1, 1});
        const int32_t fd = board_.Open("/file", O_RDWR);
        board_.CutPowerAfter(4096 + 5);
        EXPECT_EQ(Erase(board_.Open("/dev/mtd0", O_RDWR), 0, 4096), 0);
        EXPECT_EQ(WriteAt(fd, 0, {2, 2}), 2);
        EXPECT_EQ(board_.Sync(fd), 0);
        EXPECT_EQ(WriteAt(fd, 2, {3, 3, 3, 3}), -EIO);
        EXPECT_EQ(Result(board_.Sync(fd)), -EIO);
        EXPECT_EQ(Result(board_.Open("/file", O_RDONLY)), -EIO);
        EXPECT_FALSE(board_.HasPower());
        board_.RestorePower(unsynced);
        EXPECT_EQ(board_.Held(), 0u);
        return board_.Contents("/file");
    };
    EXPECT_THAT(contentsAfterCut(Unsynced::LOST), ElementsAre(2, 2, 1, 1));
    EXPECT_THAT(contentsAfterCut(Unsynced::KEPT), ElementsAre(2, 2, 3, 3, 3));

    board_.AddFile("/new");
    EXPECT_GE(board_.Open("/new", O_RDWR | O_CREAT), 0);
    board_.CutPowerAfter(1);
    EXPECT_EQ(WriteAt(board_.Open("/dev/mtd0", O_RDWR), 0, {7, 8}), -EIO);
    board_.RestorePower(Unsynced::LOST);
    EXPECT_EQ(board_.FileSize("/new"), -1);  // its creation was lost
    const int32_t flash = board_.Open("/dev/mtd0", O_RDONLY);
    EXPECT_THAT(ReadAt(flash, 0, 2), ElementsAre(7, 0xFF));  // flash has no cache
}

TEST_F(SimulatedStorageTest, BackingFilesKeepContents) {
    const TempDirectory folder;
    const auto build = [&](SimulatedBoard& board) {
        board.AddMTD("persist", 8192, 4096, folder.File("flash"));
        board.AddEEPROMFile(kEEPROM, 256, folder.File("eeprom"));
    };
    build(board_);
    const int32_t fd = board_.Open("/dev/mtd0", O_RDWR);
    EXPECT_EQ(WriteAt(fd, 5000, {1, 2}), 2);
    EXPECT_EQ(WriteAt(fd, 100, {3}), 1);
    EXPECT_EQ(Erase(fd, 0, 4096), 0);
    EXPECT_EQ(WriteAt(board_.Open(kEEPROM, O_RDWR), 255, {4}), 1);

    SimulatedBoard next;
    build(next);
    const std::vector<uint8_t> flash = next.Contents("/dev/mtd0");
    EXPECT_EQ(flash[100], 0xFF);
    EXPECT_EQ(flash[5001], 2);
    EXPECT_EQ(next.Contents(kEEPROM)[255], 4);

    folder.Write("other", "abc");
    EXPECT_EQ(ThrownMessage([&] { next.AddEEPROMFile("/dev/x", 8, folder.File("other")); }),
              "SIM: " + folder.File("other") + " has 3 bytes instead of 8");
}

}  // namespace
}  // namespace quarn::sim
