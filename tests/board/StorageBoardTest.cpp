#include "board/BoardDevices.h"
#include "storage/StorageFixture.h"

#include <fcntl.h>
#include <unistd.h>

namespace quarn::test {
namespace {

constexpr uint64_t kEraseBlock = 4096;
constexpr int64_t kPersist = 0x4000;  // where the partition begins in the flash
constexpr int64_t kNowhere = -1;

void Save(PersistentStorage& storage, uint32_t generation) {
    Settings settings(generation);
    storage.Save(settings.index, 0);
}

TEST(StorageBoardTest, AFlashPartitionIsErasedBlockByBlockAndSurvivesFailures) {
    DebugCapture debug(DEBUG_ERR);
    PersistentStorage storage("board", kEraseBlock, 1);
    EXPECT_EQ(storage.AddMTD("persist"), 16u);
    EXPECT_EQ(Loaded(storage), kNothing);

    // Twice round: written flash takes nothing else before it is erased.
    const auto reload = [] {
        PersistentStorage again("board", kEraseBlock, 1);
        again.AddMTD("persist");
        return Loaded(again);
    };
    for (uint32_t generation = 1; generation <= 36; ++generation) {
        Save(storage, generation);
        ASSERT_EQ(reload(), generation);
    }

    // Stamp 37 is to go to block 4.
    SetModule("normem/fail_erase", kPersist + 4 * int64_t{kEraseBlock} + 17);
    Save(storage, 37);
    EXPECT_TRUE(debug.Contains("/dev/mtd1: could not erase block 4: Input/output error"));
    EXPECT_EQ(reload(), 36u);
    SetModule("normem/fail_erase", kNowhere);
    Save(storage, 38);
    SetModule("normem/fail_write", kPersist + 5 * int64_t{kEraseBlock});
    Save(storage, 39);
    EXPECT_TRUE(debug.Contains("/dev/mtd1: could not write block 5: Input/output error"));
    EXPECT_EQ(reload(), 38u);
    SetModule("normem/fail_write", kNowhere);
    Save(storage, 40);
    EXPECT_EQ(reload(), 40u);

    const int fd = open("/dev/mtd1", O_RDWR | O_CLOEXEC);
    EXPECT_EQ(pwrite(fd, "\0\0", 2, 5 * kEraseBlock + 30), 2);  // into what was saved last
    close(fd);
    EXPECT_EQ(reload(), 38u);
    EXPECT_TRUE(debug.Contains("/dev/mtd1: in block 5: bad overall checksum"));
    Save(storage, 41);
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
    for (uint32_t generation = 1; generation <= 3; ++generation) {
        Save(storage, generation);
        ASSERT_EQ(Loaded(storage), generation);
    }
    ASSERT_EQ(system("echo 0x50 >/sys/bus/i2c/devices/i2c-1/delete_device"), 0);
    EXPECT_EQ(ThrownMessage([&] { storage.AddEEPROM(path); }),
              "Could not find EEPROM device \"" + path + "\"");
}

}  // namespace
}  // namespace quarn::test
