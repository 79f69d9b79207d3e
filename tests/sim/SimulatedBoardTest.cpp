#include <quarn/sim/SimulatedBoard.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>

#include <thread>

namespace quarn::sim {
namespace {

TEST(SimulatedBoardTest, ServesAnyThread) {
    constexpr uint32_t kThreads = 3, kRounds = 2000;
    SimulatedBoard board;
    board.AddI2CRegisters("i2c-1", 0, 8);
    board.AddGPIOChip("chip", kThreads);
    board.AddMemory(0x1000, 4096);
    const int32_t memory = board.Open("/dev/mem", O_RDWR);
    auto* const words =
        static_cast<volatile uint32_t*>(board.Map(4096, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0x1000));
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
    std::vector<std::thread> threads;
    for (uint8_t index = 0; index < kThreads; ++index)
        threads.emplace_back(work, index);
    for (std::thread& thread : threads)
        thread.join();
    for (uint32_t index = 0; index < kThreads; ++index)
        EXPECT_EQ(board.Word(0x1000 + 4 * index), kRounds);
    EXPECT_EQ(board.Count(Call::WRITE), kThreads * kRounds);
    EXPECT_EQ(board.Count(Call::REQUEST_LINES), kThreads * kRounds);
    EXPECT_EQ(board.Held(), 2u);
}

}  // namespace
}  // namespace quarn::sim
