#include <quarn/PersistentStorage.h>

#include "board/ConfiguredBoard.h"
#include "storage/StorageFixture.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace quarn::test {
namespace {

constexpr uint64_t kEraseBlock = 4096;
constexpr int64_t kPersist = 0x4000;  // where the partition begins in the flash
constexpr int64_t kNowhere = -1;

void Damage(const std::string& path, uint64_t offset) {
    const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(pwrite(fd, "\0\0", 2, off_t(offset)), 2);
    close(fd);
}

TEST(StorageBoardTest, AFlashPartitionIsErasedBlockByBlockAndSurvivesFailures) {
    DebugCapture debug(DEBUG_ERR);
    PersistentStorage storage("board", kEraseBlock, 1);
    EXPECT_EQ(storage.AddMTD("persist"), 16u);
    EXPECT_EQ(ThrownMessage([&] { storage.AddMTD("persists"); }), "Could not find MTD device \"persists\"");
    EXPECT_EQ(ThrownMessage([] { PersistentStorage("board", 8192, 1).AddMTD("boot"); }),
              "MTD device \"boot\" (/dev/mtd0) erase block size is not 8192 bytes");
    EXPECT_EQ(Loaded(storage), kNothing);
    EXPECT_TRUE(debug.Contains("/dev/mtd1: no valid data"));

    // Twice round: written flash takes nothing else before it is erased.
    Settings settings;
    const auto save = [&](uint32_t generation) {
        settings.Set(generation);
        storage.Save(settings.index, 0);
    };
    const auto reload = [] {
        PersistentStorage again("board", kEraseBlock, 1);
        again.AddMTD("persist");
        return Loaded(again);
    };
    for (uint32_t generation = 1; generation <= 36; ++generation) {
        save(generation);
        ASSERT_EQ(reload(), generation);
    }

    // Stamp 37 is to go to block 4.
    SetModule("normem/fail_erase", kPersist + 4 * int64_t{kEraseBlock} + 17);
    save(37);
    EXPECT_TRUE(debug.Contains("/dev/mtd1: could not erase block 4: Input/output error"));
    EXPECT_EQ(reload(), 36u);
    SetModule("normem/fail_erase", kNowhere);
    save(38);
    EXPECT_TRUE(debug.Contains("/dev/mtd1: wrote block 4 with stamp 0x26"));
    EXPECT_EQ(reload(), 38u);

    SetModule("normem/fail_write", kPersist + 5 * int64_t{kEraseBlock});
    save(39);
    EXPECT_TRUE(debug.Contains("/dev/mtd1: could not write block 5: Input/output error"));
    EXPECT_EQ(reload(), 38u);
    SetModule("normem/fail_write", kNowhere);
    save(40);
    EXPECT_EQ(reload(), 40u);

    Damage("/dev/mtd1", 5 * kEraseBlock + 30);
    EXPECT_EQ(reload(), 38u);
    EXPECT_TRUE(debug.Contains("/dev/mtd1: in block 5: bad overall checksum"));
    EXPECT_TRUE(debug.Contains("/dev/mtd1: block 5 with stamp 0x28 is not valid"));
    save(41);
    EXPECT_EQ(reload(), 41u);

    EXPECT_EQ(storage.Wipe(), 16u);
    EXPECT_EQ(reload(), kNothing);
}

TEST(StorageBoardTest, AnEEPROMIsAFileOfTwoBlocks) {
    const std::string path = "/sys/bus/i2c/devices/1-0050/eeprom";
    ASSERT_EQ(system("echo 24c02 0x50 >/sys/bus/i2c/devices/i2c-1/new_device"), 0);
    DebugCapture debug(DEBUG_ERR);
    PersistentStorage storage("board", 128, 1);
    EXPECT_EQ(storage.AddEEPROM(path), 2u);
    EXPECT_EQ(storage.Wipe(), 2u);
    Settings settings;
    for (uint32_t generation = 1; generation <= 3; ++generation) {
        settings.Set(generation);
        storage.Save(settings.index, 0);
        ASSERT_EQ(Loaded(storage), generation);
    }
    Damage(path, 30);
    EXPECT_EQ(Loaded(storage), 2u);
    EXPECT_TRUE(debug.Contains(path + ": in block 0: bad overall checksum"));

    SetModule("i2cmem/fail_errno", EIO);
    SetModule("i2cmem/fail_count", 1000000);
    settings.Set(4);
    storage.Save(settings.index, 0);
    SetModule("i2cmem/fail_count", 0);
    EXPECT_TRUE(debug.Contains(path + ": could not write block 0: Connection timed out"));
    EXPECT_EQ(Loaded(storage), 2u);
    settings.Set(5);
    storage.Save(settings.index, 0);
    EXPECT_EQ(Loaded(storage), 5u);
    ASSERT_EQ(system("echo 0x50 >/sys/bus/i2c/devices/i2c-1/delete_device"), 0);
    EXPECT_EQ(ThrownMessage([&] { storage.AddEEPROM(path); }),
              "Could not find EEPROM device \"" + path + "\"");
}

}  // namespace
}  // namespace quarn::test
