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
    enum { ONE_BLOCK, ONE_EACH, SEVERAL } blocks;
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
    SCOPED_TRACE(testing::Message() << "EEPROM " << board.eepromBlocks << ", flash " << board.flashBlocks
                                    << ", files " << board.files << ", unsynced " << int(unsynced)
                                    << ", seed " << seed);
    const bool canBeLost = board.blocks == Board::ONE_BLOCK && unsynced != Unsynced::LOST;
    SimulatedBoard io;
    if (board.eepromBlocks)
        io.AddEEPROMFile("/eeprom", board.eepromBlocks * kBlock);
    if (board.flashBlocks)
        io.AddMTD("persist", board.flashBlocks * kBlock, kBlock);
    for (size_t i = 0; i < board.files; ++i)
        io.AddFile("/file" + std::to_string(i));
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
    const Board boards[] = {
        {1, 0, 0, Board::ONE_BLOCK}, {2, 0, 0, Board::SEVERAL},  {5, 0, 0, Board::SEVERAL},
        {0, 2, 0, Board::SEVERAL},   {0, 5, 0, Board::SEVERAL},  {0, 0, 1, Board::ONE_BLOCK},
        {0, 0, 2, Board::ONE_EACH},  {1, 1, 0, Board::ONE_EACH},
    };
    for (const Board& board : boards) {
        CutEverywhere(board, Unsynced::LOST, 0);
        CutEverywhere(board, Unsynced::KEPT, 0);
        for (uint32_t seed = 0; seed < 8; ++seed)
            CutEverywhere(board, Unsynced::SCATTERED, seed * 1000);
    }
}

}  // namespace
}  // namespace quarn::test
