#include <quarn/MonitorException.h>
#include <quarn/VariantValue.h>
#include <quarn/sim/SimulatedBoard.h>

#include "storage/StorageFixture.h"
#include "support/AllocationWatch.h"
#include "support/DebugCapture.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <errno.h>

namespace quarn::test {
namespace {

using sim::Call;
using sim::SimulatedBoard;
using testing::ElementsAre;

constexpr size_t kBlock = 256;

uint32_t LoadedFrom(SimulatedBoard& io, const std::string& path = "/e") {
    PersistentStorage storage("test", kBlock, 1, io);
    storage.AddEEPROM(path);
    return Loaded(storage);
}

TEST(PersistentStorage, KeepsVariablesInARealFile) {
    const TempDirectory directory;
    PersistentStorage storage("state", 0, 1);
    storage.AddFile(directory.File("state"));
    Settings settings(12);
    DebugCapture capture;
    EXPECT_FALSE(storage.Load(settings.index, 0));
    storage.Save(settings.index, 0);
    settings.Set(13);
    storage.Save(settings.index, 0);
    EXPECT_EQ(Loaded(storage), 13u);
    const std::string path = directory.File("state");
    EXPECT_THAT(capture.Lines(),
                ElementsAre("Could not open " + path + " for scanning: No such file or directory",
                            "state: Found no valid persistent data",
                            "Could not open " + path + " for scanning: No such file or directory",
                            "state: Found no valid persistent data", path + ": wrote block 0 with stamp 0x1",
                            path + ": wrote block 0 with stamp 0x2",
                            path + ": 1 blocks; stamps range from 0x2 to 0x2",
                            path + ": newest valid data are in block 0, with stamp 0x2",
                            "state: Newest saved data has stamp 0x2"));
}

TEST(PersistentStorage, SavesWhatPassesTheFilterAndIsPersistent) {
    SimulatedBoard io;
    io.AddEEPROMFile("/e", 2 * kBlock);
    PersistentStorage storage("test", kBlock, 1, io);
    EXPECT_EQ(storage.AddEEPROM("/e"), 2u);
    const auto loadedAfterSave = [&](Settings& settings, uint32_t saved, uint32_t loaded) {
        storage.Save(settings.index, saved);
        uint32_t generation = 0;
        std::string text = "unsaved";
        VariableDictionary dictionary("settings");
        VariableIndex index("settings", dictionary);
        index.Add(1, &generation, 1);
        index.Add(0x10001, &text, 2);
        EXPECT_TRUE(storage.Load(index, loaded));
        return std::to_string(generation) + " " + text;
    };
    Settings settings(29);  // its text: 70 times "d"
    const std::string text(70, 'd');
    EXPECT_EQ(loadedAfterSave(settings, 0, 0), "29 " + text);
    EXPECT_EQ(loadedAfterSave(settings, 1, 0), "29 unsaved");
    EXPECT_EQ(loadedAfterSave(settings, 0, 2), "0 " + text);
    settings.index.MarkNonpersistent(0x10001);
    EXPECT_EQ(loadedAfterSave(settings, 0, 0), "29 unsaved");
    // A second registration of a marked tag is deliberately saved.
    std::string other = "other";
    EXPECT_THROW(settings.index.Add(0x10001, &other, 2), MonitorException);
    EXPECT_EQ(loadedAfterSave(settings, 0, 0), "29 other");

    // A failure of the index leaves storage and devices alone.
    settings.index.Add(2, &other, 0);
    const uint64_t writes = io.Count(Call::WRITE);
    EXPECT_EQ(ThrownMessage([&] { storage.Save(settings.index, 0); }),
              "No variable registered in dictionary settings for code 0x00000002");
    EXPECT_EQ(io.Count(Call::WRITE), writes);
}

TEST(PersistentStorage, LoadsTheNewestOfAllDevicesAndSavesToEachThatCan) {
    SimulatedBoard io;
    io.AddEEPROMFile("/e", 2 * kBlock);
    io.AddMTD("persist", 3 * kBlock, kBlock);
    PersistentStorage storage("test", kBlock, 1, io);
    storage.AddEEPROM("/e");
    EXPECT_EQ(storage.AddMTD("persist"), 3u);
    EXPECT_EQ(ThrownMessage([&] { storage.AddMTD("other"); }), "Could not find MTD device \"other\"");

    storage.Save(Settings(1).index, 0);
    EXPECT_EQ(io.Count(Call::SYNC), 1u);
    io.Fail(Call::WRITE, EIO);
    storage.Save(Settings(2).index, 0);  // reaches the flash only
    EXPECT_EQ(Loaded(storage), 2u);
    storage.Save(Settings(3).index, 0);
    EXPECT_EQ(LoadedFrom(io), 3u);
}

TEST(PersistentStorage, LoadsTheDeviceAddedFirstOnEqualStamps) {
    SimulatedBoard io;
    for (const uint32_t generation : {1, 2}) {
        const std::string path = generation == 1 ? "/a" : "/b";
        io.AddFile(path);
        PersistentStorage storage("test", 0, 1, io);
        storage.AddFile(path);
        storage.Save(Settings(generation).index, 0);
    }
    for (const bool reversed : {false, true}) {
        PersistentStorage storage("test", 0, 1, io);
        storage.AddFile(reversed ? "/b" : "/a");
        storage.AddFile(reversed ? "/a" : "/b");
        EXPECT_EQ(Loaded(storage), reversed ? 2u : 1u);
    }
}

TEST(PersistentStorage, HandsOverWhatTheSecondReadGives) {
    SimulatedBoard io;
    io.AddEEPROMFile("/e", kBlock);
    PersistentStorage storage("test", kBlock, 1, io);
    storage.AddEEPROM("/e");
    storage.Save(Settings(4).index, 0);
    Settings settings(9);
    io.Fail(Call::OPEN, EIO, 1, 1);
    EXPECT_TRUE(storage.Load(settings.index, 0));
    EXPECT_EQ(settings.Generation(), 9u);
}

TEST(PersistentStorage, WipesAndResets) {
    SimulatedBoard io;
    io.AddEEPROMFile("/e", 2 * kBlock);
    io.AddMTD("persist", 3 * kBlock, kBlock);
    PersistentStorage storage("test", kBlock, 1, io);
    storage.AddEEPROM("/e");
    storage.AddMTD("persist");
    storage.Save(Settings(1).index, 0);
    EXPECT_EQ(storage.Wipe(), 5u);
    {
        DebugCapture capture;
        storage.Save(Settings(2).index, 0);  // goes on where it was
        EXPECT_TRUE(capture.Contains("/e: wrote block 1 with stamp 0x2"));
    }
    EXPECT_EQ(Loaded(storage), 2u);
    storage.Reset();
    EXPECT_EQ(Loaded(storage), kNothing);
    EXPECT_EQ(storage.Wipe(), 0u);
    EXPECT_EQ(LoadedFrom(io), 2u);
    // The stamp starts anew with the devices.
    storage.AddMTD("persist");
    EXPECT_EQ(storage.Wipe(), 3u);
    DebugCapture capture;
    storage.Save(Settings(3).index, 0);
    EXPECT_TRUE(capture.Contains("/dev/mtd0: wrote block 0 with stamp 0x1"));
}

TEST(PersistentStorage, SurvivesDamage) {
    SimulatedBoard io;
    io.AddEEPROMFile("/e", 2 * kBlock);
    PersistentStorage storage("test", kBlock, 1, io);
    storage.AddEEPROM("/e");
    storage.Save(Settings(1).index, 0);
    storage.Save(Settings(2).index, 0);
    const std::vector<uint8_t> good = io.Contents("/e");
    const AllocationWatch watch;

    // Any one bit: the newest block is intact or the one before it is loaded.
    for (size_t bit = 0; bit < good.size() * 8; ++bit) {
        std::vector<uint8_t> damaged = good;
        damaged[bit / 8] ^= uint8_t(1 << bit % 8);
        io.SetContents("/e", damaged);
        const uint32_t found = LoadedFrom(io);
        ASSERT_TRUE(found == 2 || (found == 1 && bit >= kBlock * 8)) << "bit " << bit << " gave " << found;
    }
    // A truncation.
    for (size_t size = 0; size < good.size(); ++size) {
        io.SetContents("/e", {good.begin(), good.begin() + long(size)});
        const uint32_t found = LoadedFrom(io);
        ASSERT_EQ(found, size < kBlock ? kNothing : 1u) << "size " << size;
    }
    // Equal stamps: both blocks are good, and one of them is loaded.
    std::vector<uint8_t> equal = good;
    std::copy_n(good.begin(), kBlock, equal.begin() + kBlock);
    io.SetContents("/e", equal);
    EXPECT_EQ(LoadedFrom(io), 1u);
    EXPECT_LT(watch.Largest(), 8192u);
}

}  // namespace
}  // namespace quarn::test
