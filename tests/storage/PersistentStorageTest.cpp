#include "sim/BoardPlayer.h"
#include "storage/StorageFixture.h"
#include "support/ThrownMessage.h"

#include <unistd.h>

namespace quarn::test {
namespace {

constexpr size_t kBlock = 256;

/// Saves and loads the generations of settings with storages of any name. What is printed is shown by the verbs that
/// tell it.
class StoragePlayer : public sim::BoardPlayer {
public:
    StoragePlayer() {
        Add({
            {"storage", Quietly([&] { storages_.insert_or_assign(W(1), New(N(2))); })},
            {"use-mtd", [&] { return Shown(int64_t(Used().AddMTD(W(2)))); }},
            {"use-eeprom", [&] { return Shown(int64_t(Used().AddEEPROM(W(2)))); }},
            {"use-file", [&] { return Shown(int64_t(Used().AddFile(W(2)))); }},
            {"save", Quietly([&] { Save(); })},
            {"tell-save", [&] { return Printed([&] { Save(); }); }},
            {"load", [&] { return Load(); }},
            {"tell-load", [&] { return Report([&] { return Load(); }); }},
            {"wipe", [&] { return Shown(int64_t(Used().Wipe())); }},
            {"reset", Quietly([&] { Used().Reset(); })},
            {"delete", [&] { return Shown(unlink(W(1).c_str())); }},
            {"exists", [&] { return Shown(access(W(1).c_str(), F_OK)); }},
        });
    }

private:
    void Begin() override {
        storages_.clear();
        BoardPlayer::Begin();
    }
    std::unique_ptr<PersistentStorage> New(size_t blockSize) {
        return std::make_unique<PersistentStorage>(W(1), blockSize, 1, *board_);
    }
    PersistentStorage& Used() { return *storages_.at(W(1)); }
    void Save() { Used().Save(Settings(uint32_t(N(2))).index, 0); }
    /// The generation; settings that were left alone are of the ninth.
    std::string Load() {
        Settings settings(9);
        if (!Used().Load(settings.index, 0))
            return "nothing";
        const bool isWhole = settings.text == Settings::TextOf(settings.generation);
        return (isWhole ? "generation " : "a mix, ") + std::to_string(settings.generation);
    }

    std::map<std::string, std::unique_ptr<PersistentStorage>> storages_;
};

TEST(PersistentStorageTest, SavesToEachDeviceAndLoadsTheNewest) {
    StoragePlayer().Replay("storages.txt");
}

TEST(PersistentStorageTest, SavesWhatPassesTheFilterAndIsPersistent) {
    sim::SimulatedBoard io;
    io.AddFile("/state");
    PersistentStorage storage("test", 0, 1, io);
    storage.AddFile("/state");
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

TEST(PersistentStorageTest, LoadsTheNewestBlockOrTheOneBeforeWhicheverBitIsWrong) {
    sim::SimulatedBoard io;
    io.AddEEPROMFile("/e", 2 * kBlock);
    PersistentStorage storage("test", kBlock, 1, io);
    storage.AddEEPROM("/e");
    storage.Save(Settings(1).index, 0);
    storage.Save(Settings(2).index, 0);
    const std::vector<uint8_t> good = io.Contents("/e");
    for (size_t bit = 0; bit < good.size() * 8; ++bit) {
        std::vector<uint8_t> damaged = good;
        damaged[bit / 8] ^= uint8_t(1 << bit % 8);
        io.SetContents("/e", damaged);
        const uint32_t found = Loaded(storage);
        ASSERT_TRUE(found == 2 || (found == 1 && bit >= kBlock * 8)) << "bit " << bit << " gave " << found;
    }
}

}  // namespace
}  // namespace quarn::test
