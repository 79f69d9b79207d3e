#include <quarn/sim/SimulatedBoard.h>

#include "sim/BoardCalls.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>

#include <fstream>
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
    int32_t Erase(int32_t fd, uint32_t start, uint32_t length) {
        erase_info_user range{start, length};
        return board_.IOCtl(fd, MEMERASE, &range);
    }
    int64_t WriteAt(int32_t fd, int64_t offset, const std::vector<uint8_t>& bytes) {
        return board_.Seek(fd, offset, SEEK_SET) < 0 ? -1 : board_.Write(fd, bytes.data(), bytes.size());
    }
    template <class... Byte>
    int64_t WriteAt(int32_t fd, int64_t offset, Byte... bytes) {
        return WriteAt(fd, offset, std::vector<uint8_t>{uint8_t(bytes)...});
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
    board_.AddMTD("first", 4096, 4096);
    board_.AddMTD("persist", 8192, 4096);
    const int32_t fd = board_.Open("/dev/mtd1", O_RDWR);
    const int32_t readOnly = board_.Open("/dev/mtd1", O_RDONLY);
    mtd_info_user info{};
    ExpectResults({
        {"no such partition", [&] { return board_.Open("/dev/mtd2", O_RDWR); }, -ENOENT},
        {"unaligned", [&] { return Erase(fd, 1, 4096); }, -EINVAL},
        {"part of a block", [&] { return Erase(fd, 0, 4095); }, -EINVAL},
        {"beyond the end", [&] { return Erase(fd, 4096, 8192); }, -EINVAL},
        {"all beyond", [&] { return Erase(fd, 8192, 4096); }, -EINVAL},
        {"far beyond", [&] { return Erase(fd, 12288, 4096); }, -EINVAL},
        {"nothing", [&] { return Erase(fd, 0, 0); }, 0},
        {"read-only", [&] { return Erase(readOnly, 0, 4096); }, -EPERM},
        {"the last block", [&] { return Erase(fd, 4096, 4096); }, 0},
        {"no such request", [&] { return board_.IOCtl(fd, MEMGETBADBLOCK, &info); }, -ENOTTY},
        {"information", [&] { return board_.IOCtl(fd, MEMGETINFO, &info); }, 0},
        {"seek to the end", [&] { return board_.Seek(fd, 0, SEEK_END); }, 8192},
        {"write there", [&] { return board_.Write(fd, &info, 1); }, -ENOSPC},
        {"read there", [&] { return board_.Read(fd, &info, 1); }, 0},
        {"seek beyond", [&] { return board_.Seek(fd, 1, SEEK_CUR); }, -EINVAL},
        {"seek before", [&] { return board_.Seek(fd, -8193, SEEK_CUR); }, -EINVAL},
        {"no way to seek", [&] { return board_.Seek(fd, 0, 7); }, -EINVAL},
        {"over the end", [&] { return WriteAt(fd, 8190, 1, 2, 3, 4); }, 2},
        {"truncate", [&] { return board_.Truncate(fd, 0); }, -EINVAL},
        {"sync", [&] { return board_.Sync(fd); }, -EINVAL},
        {"size", [&] { return board_.FileSize("/dev/mtd1"); }, 0},
        {"the table", [&] { return board_.Open("/proc/mtd", O_RDWR); }, -EACCES},
    });
    EXPECT_EQ(info.size, 8192u);
    EXPECT_EQ(info.erasesize, 4096u);

    std::string table(200, '\0');
    const ssize_t length = board_.Read(board_.Open("/proc/mtd", O_RDONLY), table.data(), table.size());
    EXPECT_EQ(table.substr(0, size_t(length)),
              "dev:    size   erasesize  name\n"
              "mtd0: 00001000 00001000 \"first\"\n"
              "mtd1: 00002000 00001000 \"persist\"\n");
}

TEST_F(SimulatedStorageTest, FlashOnlyClearsBitsUntilItIsErased) {
    board_.AddMTD("persist", 8192, 4096);
    const int32_t fd = board_.Open("/dev/mtd0", O_RDWR);
    EXPECT_EQ(WriteAt(fd, 4094, 0xF0, 0xF1, 0xF2), 3);
    EXPECT_EQ(WriteAt(fd, 4094, 0x1F, 0xFF, 0x00), 3);
    EXPECT_THAT(ReadAt(fd, 4093, 4), ElementsAre(0xFF, 0x10, 0xF1, 0x00));
    EXPECT_EQ(Erase(fd, 0, 4096), 0);
    EXPECT_THAT(ReadAt(fd, 4094, 3), ElementsAre(0xFF, 0xFF, 0x00));
}

TEST_F(SimulatedStorageTest, AnEEPROMHasAFixedSize) {
    board_.AddEEPROMFile(kEEPROM, 8192);
    board_.AddEEPROMFile("/dev/eeprom", 8192);
    const int32_t fd = board_.Open(kEEPROM, O_RDWR);
    std::vector<uint8_t> bytes(8192);
    ExpectResults({
        {"size", [&] { return board_.FileSize(kEEPROM); }, 8192},
        {"page by page", [&] { return WriteAt(fd, 0, bytes); }, 4096},
        {"read, too", [&] { return board_.Read(fd, bytes.data(), 8192); }, 4096},
        {"over the end", [&] { return WriteAt(fd, 8191, 1, 2); }, 1},
        {"at the end", [&] { return board_.Write(fd, bytes.data(), 1); }, -EFBIG},
        {"beyond", [&] { return WriteAt(fd, 10000, 1); }, -EFBIG},
        {"read there", [&] { return board_.Read(fd, bytes.data(), 1); }, 0},
        {"truncate", [&] { return board_.Truncate(fd, 100); }, -EINVAL},
        {"sync", [&] { return board_.Sync(fd); }, 0},
        {"not erased", [&] { return Erase(fd, 0, 4096); }, -ENOTTY},
        {"no page", [&] { return board_.Write(board_.Open("/dev/eeprom", O_RDWR), bytes.data(), 8192); },
         8192},
    });
    EXPECT_THAT(ReadAt(fd, 8190, 9), ElementsAre(0xFF, 1));
}

TEST_F(SimulatedStorageTest, AFileIsCreatedAndGrows) {
    board_.AddFile("/state/file");
    int32_t fd = -1;
    ExpectResults({
        {"not there", [&] { return board_.Open("/state/file", O_RDWR); }, -ENOENT},
        {"no size", [&] { return board_.FileSize("/state/file"); }, -ENOENT},
        {"created",
         [&] { return (fd = board_.Open("/state/file", O_RDWR | O_CREAT | O_EXCL, 0600)) < 0 ? -1 : 0; }, 0},
        {"there already", [&] { return board_.Open("/state/file", O_RDWR | O_CREAT | O_EXCL); }, -EEXIST},
        {"written beyond the end", [&] { return WriteAt(fd, 2, 5, 6); }, 2},
        {"size", [&] { return board_.FileSize("/state/file"); }, 4},
        {"cut", [&] { return board_.Truncate(fd, 3); }, 0},
        {"not below nothing", [&] { return board_.Truncate(fd, -1); }, -EINVAL},
    });
    EXPECT_THAT(board_.Contents("/state/file"), ElementsAre(0, 0, 5));
    board_.SetContents("/state/file", {7});
    EXPECT_THAT(ReadAt(fd, 0, 2), ElementsAre(7));
    board_.Open("/state/file", O_RDWR | O_TRUNC);
    EXPECT_EQ(board_.FileSize("/state/file"), 0);
    EXPECT_EQ(ThrownMessage([&] { board_.Contents("/dev/mem"); }), "SIM: no storage /dev/mem");
}

TEST_F(SimulatedStorageTest, LosesPowerInTheMiddleOfAWrite) {
    board_.AddFile("/file");
    board_.AddMTD("persist", 4096, 4096);
    const auto contentsAfterCut = [&](Unsynced unsynced) {
        board_.SetContents("/file", {1, 1, 1, 1});
        const int32_t fd = board_.Open("/file", O_RDWR);
        const int32_t flash = board_.Open("/dev/mtd0", O_RDWR);
        board_.CutPowerAfter(4096 + 5);
        ExpectResults({
            {"erase", [&] { return Erase(flash, 0, 4096); }, 0},
            {"write", [&] { return WriteAt(fd, 0, 2, 2); }, 2},
            {"sync", [&] { return board_.Sync(fd); }, 0},
            {"cut", [&] { return WriteAt(fd, 2, 3, 3, 3, 3); }, -EIO},
            {"sync after it", [&] { return board_.Sync(fd); }, -EIO},
            {"open after it", [&] { return board_.Open("/file", O_RDONLY); }, -EIO},
        });
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
    EXPECT_EQ(Result([&] { return WriteAt(board_.Open("/dev/mtd0", O_RDWR), 0, 7, 8); }), -EIO);
    board_.RestorePower(Unsynced::LOST);
    EXPECT_EQ(board_.FileSize("/new"), -1);  // its creation was lost
    EXPECT_THAT(ReadAt(board_.Open("/dev/mtd0", O_RDONLY), 0, 2),
                ElementsAre(7, 0xFF));  // flash has no cache
}

TEST_F(SimulatedStorageTest, BackingFilesKeepContents) {
    const TempDirectory folder;
    const std::string flash = folder.Path() + "/flash", eeprom = folder.Path() + "/eeprom";
    const auto build = [&](SimulatedBoard& board) {
        board.AddMTD("persist", 8192, 4096, flash);
        board.AddEEPROMFile(kEEPROM, 256, eeprom);
    };
    build(board_);
    const int32_t fd = board_.Open("/dev/mtd0", O_RDWR);
    EXPECT_EQ(WriteAt(fd, 5000, 1, 2), 2);
    EXPECT_EQ(WriteAt(fd, 100, 3), 1);
    EXPECT_EQ(Erase(fd, 0, 4096), 0);
    EXPECT_EQ(WriteAt(board_.Open(kEEPROM, O_RDWR), 255, 4), 1);

    SimulatedBoard next;
    build(next);
    std::vector<uint8_t> bytes(8192), last(256);
    EXPECT_EQ(next.Read(next.Open("/dev/mtd0", O_RDONLY), bytes.data(), 8192), 8192);
    EXPECT_EQ(bytes[100], 0xFF);
    EXPECT_EQ(bytes[5001], 2);
    EXPECT_EQ(next.Read(next.Open(kEEPROM, O_RDONLY), last.data(), 256), 256);
    EXPECT_EQ(last[255], 4);

    std::ofstream(folder.Path() + "/other") << "abc";
    EXPECT_EQ(ThrownMessage([&] { next.AddEEPROMFile("/dev/x", 8, folder.Path() + "/other"); }),
              "SIM: " + folder.Path() + "/other has 3 bytes instead of 8");
}

}  // namespace
}  // namespace quarn::sim
