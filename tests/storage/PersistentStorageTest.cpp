#include <quarn/sim/SimulatedBoard.h>

#include "storage/StorageFixture.h"
#include "support/DebugCapture.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <unistd.h>

namespace quarn::test {
namespace {

using sim::Call;
using sim::SimulatedBoard;

constexpr size_t kBlock = 256;

/// A board with an EEPROM of two blocks and a flash partition of three, and a storage on the EEPROM.
struct PersistentStorageTest : testing::Test {
    PersistentStorageTest() {
        io.AddEEPROMFile("/e", 2 * kBlock);
        io.AddMTD("persist", 3 * kBlock, kBlock);
        storage.AddEEPROM("/e");
    }

    void Save(uint32_t generation) { storage.Save(Settings(generation).index, 0); }
    uint32_t LoadedFromEEPROM() {
        PersistentStorage other("other", kBlock, 1, io);
        other.AddEEPROM("/e");
        return Loaded(other);
    }

    SimulatedBoard io;
    PersistentStorage storage{"test", kBlock, 1, io};
};

TEST_F(PersistentStorageTest, KeepsVariablesInARealFile) {
    const TempDirectory directory;
    const std::string path = directory.File("state");
    PersistentStorage state("state", 0, 1), blocked("blocked", kBlock, 1), device("device", 16, 1);
    state.AddFile(path);
    blocked.AddFile(path);
    DebugCapture capture;
    blocked.Save(Settings(11).index, 0);  // blocks are written only where there is a file
    const std::string missing = "Could not open " + path + " for scanning: No such file or directory";
    EXPECT_EQ(capture.Lines(), Lines({missing, "blocked: Found no valid persistent data", missing,
                                      path + ": cannot write data; no scanned blocks"}));
    EXPECT_EQ(directory.Names(), Lines());
    state.Save(Settings(12).index, 0);
    state.Save(Settings(13).index, 0);
    EXPECT_EQ(Loaded(state), 13u);
    EXPECT_EQ(capture.Lines().back(), "state: Newest saved data has stamp 0x2");
    blocked.Save(Settings(14).index, 0);
    device.AddEEPROM(path);
    EXPECT_EQ(Loaded(device), 14u);
    ASSERT_EQ(unlink(path.c_str()), 0);
    device.Save(Settings(15).index, 0);  // a device that is gone is not made a file
    EXPECT_EQ(directory.Names(), Lines());
}

TEST_F(PersistentStorageTest, SavesWhatPassesTheFilterAndIsPersistent) {
    Settings settings(29);
    const auto loadedAfterSave = [&](uint32_t saved, uint32_t loaded) {
        storage.Save(settings.index, saved);
        Settings found(0);
        EXPECT_TRUE(storage.Load(found.index, loaded));
        return std::to_string(found.generation) + " " + found.text;
    };
    const std::string text(70, 'd'), unsaved(12, 'a');
    EXPECT_EQ(loadedAfterSave(0, 0), "29 " + text);
    EXPECT_EQ(loadedAfterSave(1, 0), "29 " + unsaved);
    EXPECT_EQ(loadedAfterSave(0, 2), "0 " + text);
    settings.index.MarkNonpersistent(0x10003);
    EXPECT_EQ(loadedAfterSave(0, 0), "29 " + unsaved);
    // A second registration of a marked tag is deliberately saved.
    std::string other = "other";
    EXPECT_NE(ThrownMessage([&] { settings.index.Add(0x10003, &other, 2); }), "(nothing thrown)");
    EXPECT_EQ(loadedAfterSave(0, 0), "29 other");
}

TEST_F(PersistentStorageTest, LoadsTheNewestOfAllDevicesAndSavesToEachThatCan) {
    EXPECT_EQ(storage.AddMTD("persist"), 3u);
    EXPECT_EQ(ThrownMessage([&] { storage.AddMTD("other"); }), "Could not find MTD device \"other\"");
    Save(1);
    EXPECT_EQ(io.Count(Call::SYNC), 1u);
    io.Fail(Call::WRITE, EIO);
    Save(2);  // reaches the flash only
    EXPECT_EQ(Loaded(storage), 2u);
    Save(3);
    EXPECT_EQ(LoadedFromEEPROM(), 3u);
}

TEST_F(PersistentStorageTest, LoadsTheDeviceAddedFirstOnEqualStamps) {
    PersistentStorage other("other", kBlock, 1, io);
    other.AddMTD("persist");
    other.Save(Settings(2).index, 0);
    Save(1);
    other.AddEEPROM("/e");
    storage.AddMTD("persist");
    EXPECT_EQ(Loaded(other), 2u);
    EXPECT_EQ(Loaded(storage), 1u);
    // What the second read gives is handed over: nothing here.
    Settings settings(9);
    io.Fail(Call::OPEN, EIO, 1, 2);
    EXPECT_TRUE(storage.Load(settings.index, 0));
    EXPECT_EQ(settings.generation, 9u);
}

TEST_F(PersistentStorageTest, WipesAndResets) {
    storage.AddMTD("persist");
    Save(1);
    EXPECT_EQ(storage.Wipe(), 5u);
    DebugCapture capture;
    Save(2);  // goes on where it was
    EXPECT_TRUE(capture.Contains("/e: wrote block 1 with stamp 0x2"));
    EXPECT_EQ(Loaded(storage), 2u);
    storage.Reset();
    EXPECT_EQ(Loaded(storage), kNothing);
    EXPECT_EQ(storage.Wipe(), 0u);
    EXPECT_EQ(LoadedFromEEPROM(), 2u);
    // The stamp starts anew with the devices.
    storage.AddMTD("persist");
    EXPECT_EQ(storage.Wipe(), 3u);
    Save(3);
    EXPECT_TRUE(capture.Contains("/dev/mtd0: wrote block 0 with stamp 0x1"));
}

TEST_F(PersistentStorageTest, LoadsTheNewestBlockOrTheOneBeforeWhicheverBitIsWrong) {
    Save(1);
    Save(2);
    const std::vector<uint8_t> good = io.Contents("/e");
    for (size_t bit = 0; bit < good.size() * 8; ++bit) {
        std::vector<uint8_t> damaged = good;
        damaged[bit / 8] ^= uint8_t(1 << bit % 8);
        io.SetContents("/e", damaged);
        const uint32_t found = LoadedFromEEPROM();
        ASSERT_TRUE(found == 2 || (found == 1 && bit >= kBlock * 8)) << "bit " << bit << " gave " << found;
    }
}

}  // namespace
}  // namespace quarn::test
