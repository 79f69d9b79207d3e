#include <quarn/sim/SimulatedBoard.h>

#include "storage/StorageFixture.h"

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

using sim::SimulatedBoard;
using sim::Unsynced;

constexpr size_t kBlock = 256;

struct Board {
    size_t eepromBlocks, flashBlocks, files;

    bool IsSingleBlock() const { return eepromBlocks + flashBlocks + files == 1; }
    bool HasSpareBlocks() const { return eepromBlocks > 1 || flashBlocks > 1; }
};

std::unique_ptr<PersistentStorage> Start(const Board& board, SimulatedBoard& io) {
    auto storage = std::make_unique<PersistentStorage>("test", board.files ? 0 : kBlock, 1, io);
    if (board.flashBlocks)
        storage->AddMTD("persist");
    if (board.eepromBlocks)
        storage->AddEEPROM("/eeprom");
    for (size_t i = 0; i < board.files; ++i)
        storage->AddFile("/file" + std::to_string(i));
    return storage;
}

/// Saves again and again with a cut after every possible number of bytes, each time from what the cut before
/// it left behind; `seed` is that of the scatter.
void CutEverywhere(const Board& board, Unsynced unsynced, uint32_t seed) {
    SCOPED_TRACE(testing::PrintToString(
        std::tuple(board.eepromBlocks, board.flashBlocks, board.files, int(unsynced), seed)));
    const bool canBeLost = board.IsSingleBlock() && unsynced != Unsynced::LOST;
    SimulatedBoard io;
    io.AddEEPROMFile("/eeprom", std::max<size_t>(board.eepromBlocks, 1) * kBlock);
    io.AddMTD("persist", std::max<size_t>(board.flashBlocks, 1) * kBlock, kBlock);
    io.AddFile("/file0");
    io.AddFile("/file1");
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
        if (!board.HasSpareBlocks())
            Start(board, io)->Save(Settings(known).index, 0);
    }
}

TEST(PowerCut, LeavesThePreviousOrTheNewValuesWhole) {
    const Board boards[] = {{1, 0, 0}, {2, 0, 0}, {5, 0, 0}, {0, 2, 0},
                            {0, 5, 0}, {0, 0, 1}, {0, 0, 2}, {1, 1, 0}};
    for (const Board& board : boards) {
        CutEverywhere(board, Unsynced::LOST, 0);
        CutEverywhere(board, Unsynced::KEPT, 0);
        for (uint32_t seed = 0; seed < 8; ++seed)
            CutEverywhere(board, Unsynced::SCATTERED, seed * 1000);
    }
}

}  // namespace
}  // namespace quarn::test
