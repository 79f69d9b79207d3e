#include <quarn/sim/SimulatedBoard.h>

#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>

#include <thread>

namespace quarn::sim {
namespace {

constexpr int64_t kBase = 0xA0000000;
constexpr size_t kPage = 4096;

/// Gives the board a page of memory, and maps it.
uint32_t* MapMemory(SimulatedBoard& board, int32_t protection) {
    board.AddMemory(kBase, kPage);
    const int32_t fd = board.Open("/dev/mem", O_RDWR);
    return static_cast<uint32_t*>(board.Map(kPage, protection, MAP_SHARED, fd, kBase));
}

TEST(SimulatedBoardTest, MemoryIsUsedAndUnmappedAsItWasMapped) {
    SimulatedBoard board;
    uint32_t* const page = MapMemory(board, PROT_READ);
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

TEST(SimulatedBoardTest, ServesAnyThread) {
    constexpr uint32_t kThreads = 3, kRounds = 2000;
    SimulatedBoard board;
    volatile uint32_t* const words = MapMemory(board, PROT_READ | PROT_WRITE);
    board.AddI2CRegisters("i2c-1", 0, 8);
    board.AddGPIOChip("chip", kThreads);
    const auto work = [&](uint8_t index) {
        for (uint32_t i = 0; i < kRounds; ++i) {
            const int32_t bus = board.Open("/dev/i2c-1", O_RDWR);
            const auto chip = board.OpenChip("/dev/gpiochip0");
            const auto lines = chip->GetLines({index});
            const uint8_t bytes[] = {index, 1};
            board.Write(bus, bytes, sizeof bytes);
            board.Write32(words + index, board.Read32(words + index) + 1);
            if (lines->RequestOutput("me", {1}) != 0 || !board.LineLevel("chip", index))
                ADD_FAILURE() << "line " << int(index);
            board.Close(bus);
        }
    };
    std::vector<std::jthread> threads;
    for (uint8_t index = 0; index < kThreads; ++index)
        threads.emplace_back(work, index);
    threads.clear();
    for (uint32_t index = 0; index < kThreads; ++index)
        EXPECT_EQ(board.Word(kBase + 4 * index), kRounds);
    EXPECT_EQ(board.Count(Call::WRITE), kThreads * kRounds);
    EXPECT_EQ(board.Count(Call::REQUEST_LINES), kThreads * kRounds);
    EXPECT_EQ(board.Held(), 2u);
}

}  // namespace
}  // namespace quarn::sim
