#include <quarn/sim/SimulatedBoard.h>

#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>

#include <utility>

namespace quarn::sim {
namespace {

constexpr int64_t kBase = 0xA0000000;
constexpr size_t kPage = 4096;

/// A board with a page of memory and a clock that stands still.
struct BoardWithMemory {
    BoardWithMemory() {
        board.SetClock([this] { return now; });
        board.AddMemory(kBase, kPage);
    }
    uint32_t* Map(int32_t protection) {
        const int32_t fd = board.Open("/dev/mem", O_RDWR);
        return static_cast<uint32_t*>(board.Map(kPage, protection, MAP_SHARED, fd, kBase));
    }

    uint64_t now = 0;
    SimulatedBoard board;
};

TEST(SimulatedMemoryTest, IsUsedAndUnmappedAsItWasMapped) {
    BoardWithMemory memory;
    SimulatedBoard& board = memory.board;
    uint32_t* const page = memory.Map(PROT_READ);
    uint32_t own = 0;
    EXPECT_DEATH(board.Write32(page, 1), "SIM: write of a word at 0x[0-9A-F]*, which is not open to that");
    EXPECT_DEATH(board.Read32(&own), "SIM: access to a word at 0x[0-9A-F]*, where nothing is mapped");
    EXPECT_EQ(board.Unmap(page + 1024, kPage), -1);
    EXPECT_EQ(board.Unmap(page, 2 * kPage), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(board.Unmap(page, kPage), 0);
    EXPECT_EQ(board.Unmap(page, kPage), -1);

    // What is no memory of the board's is the system's.
    void* const other = board.Map(kPage, PROT_READ | PROT_WRITE, MAP_ANONYMOUS | MAP_PRIVATE, -1, 0);
    board.Write32(static_cast<uint32_t*>(other) + 1, 0x61626364);
    EXPECT_EQ(board.Read32(static_cast<uint32_t*>(other) + 1), 0x61626364u);
    EXPECT_EQ(board.Unmap(other, kPage), 0);
    EXPECT_EQ(board.Held(), 1u);
}

TEST(SimulatedMemoryTest, TheTimerNeedsItsWholeSetUp) {
    constexpr std::pair<size_t, uint32_t> steps[] = {{1, 0x20}, {4, 0x20}, {0, 0x20},
                                                     {12, 24},  {9, 25},   {3, 0x0A}};
    for (const auto& left : steps) {
        BoardWithMemory memory;
        memory.board.AddTimer(kBase);
        memory.board.AddCounter(kBase + 0x800, 1000);
        memory.board.SetWord(kBase + 0x800, 0xFFFFFFF0);
        volatile uint32_t* const timer = memory.Map(PROT_READ | PROT_WRITE);
        for (const auto& step : steps)
            if (&step != &left)
                memory.board.Write32(timer + step.first, step.second);
        memory.now = 26000000;
        EXPECT_NE(memory.board.Read32(timer + 7), 26000u) << "without word " << left.first;
        EXPECT_EQ(memory.board.Word(kBase + 0x800), 26u - 16);
    }
}

}  // namespace
}  // namespace quarn::sim
