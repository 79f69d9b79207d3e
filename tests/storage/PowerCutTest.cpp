#include "storage/StorageFixture.h"
#include "support/FakeDeviceIO.h"

#include <gtest/gtest.h>

#include <functional>

namespace quarn {
namespace {

using test::FakeDeviceIO;
using test::kNothing;
using test::Loaded;
using test::Settings;
using test::Unsynced;

constexpr size_t kBlock = 256;

struct Board {
    const char* name;
    uint64_t blockSize;
    std::function<void(FakeDeviceIO&)> build;
    std::function<void(PersistentStorage&)> add;
    enum { ONE_BLOCK, ONE_EACH, SEVERAL } blocks;
};

std::unique_ptr<PersistentStorage> Start(const Board& board, FakeDeviceIO& io) {
    auto storage = std::make_unique<PersistentStorage>("test", board.blockSize, 1, io);
    board.add(*storage);
    return storage;
}

/// Saves again and again with a cut after every possible number of bytes, each time from what the cut before
/// it left behind; `seed` is that of the scatter.
void CutEverywhere(const Board& board, Unsynced unsynced, uint32_t seed) {
    SCOPED_TRACE(testing::Message() << board.name << ", unsynced " << int(unsynced) << ", seed " << seed);
    const bool canBeLost = board.blocks == Board::ONE_BLOCK && unsynced != Unsynced::LOST;
    FakeDeviceIO io;
    board.build(io);
    uint32_t known = 1;
    Start(board, io)->Save(Settings(known).index, 0);
    bool completed = false;
    for (uint64_t cut = 0; !completed; ++cut) {
        const uint32_t next = known + 1;
        auto storage = Start(board, io);
        ASSERT_EQ(Loaded(*storage), known) << "before cut " << cut;
        io.CutPowerAfter(cut);
        storage->Save(Settings(next).index, 0);
        completed = io.HasPower();
        io.RestorePower(unsynced, seed + uint32_t(cut));

        const uint32_t found = Loaded(*Start(board, io));
        ASSERT_TRUE(found == next || (!completed && (found == known || (canBeLost && found == kNothing))))
            << "cut " << cut << " gave " << found;
        if (found != kNothing)
            known = found;
        if (board.blocks != Board::SEVERAL)
            Start(board, io)->Save(Settings(known).index, 0);
    }
}

TEST(PowerCut, LeavesThePreviousOrTheNewValuesWhole) {
    const auto eeprom = [](size_t blocks) {
        return [blocks](FakeDeviceIO& io) { io.AddEEPROM("/eeprom", blocks * kBlock); };
    };
    const auto flash = [](size_t blocks) {
        return [blocks](FakeDeviceIO& io) { io.AddMTD("persist", blocks * kBlock, kBlock); };
    };
    const auto addEEPROM = [](PersistentStorage& storage) { storage.AddEEPROM("/eeprom"); };
    const auto addFlash = [](PersistentStorage& storage) { storage.AddMTD("persist"); };
    const Board boards[] = {
        {"EEPROM, one block", kBlock, eeprom(1), addEEPROM, Board::ONE_BLOCK},
        {"EEPROM, two blocks", kBlock, eeprom(2), addEEPROM, Board::SEVERAL},
        {"EEPROM, five blocks", kBlock, eeprom(5), addEEPROM, Board::SEVERAL},
        {"flash, two blocks", kBlock, flash(2), addFlash, Board::SEVERAL},
        {"flash, five blocks", kBlock, flash(5), addFlash, Board::SEVERAL},
        {"file", 0, [](FakeDeviceIO& io) { io.AddAbsentFile("/a"); },
         [](PersistentStorage& storage) { storage.AddFile("/a"); }, Board::ONE_BLOCK},
        {"two files", 0,
         [](FakeDeviceIO& io) {
             io.AddAbsentFile("/a");
             io.AddAbsentFile("/b");
         },
         [](PersistentStorage& storage) {
             storage.AddFile("/a");
             storage.AddFile("/b");
         },
         Board::ONE_EACH},
        {"flash and EEPROM, one block each", kBlock,
         [&](FakeDeviceIO& io) {
             flash(1)(io);
             eeprom(1)(io);
         },
         [&](PersistentStorage& storage) {
             addFlash(storage);
             addEEPROM(storage);
         },
         Board::ONE_EACH},
    };
    for (const Board& board : boards) {
        CutEverywhere(board, Unsynced::LOST, 0);
        CutEverywhere(board, Unsynced::KEPT, 0);
        for (uint32_t seed = 0; seed < 8; ++seed)
            CutEverywhere(board, Unsynced::SCATTERED, seed * 1000);
    }
}

}  // namespace
}  // namespace quarn
