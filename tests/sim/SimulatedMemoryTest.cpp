#include <quarn/sim/SimulatedBoard.h>

#include "sim/BoardCalls.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>

#include <utility>

namespace quarn::sim {
namespace {

constexpr int64_t kBase = 0xA0000000;
constexpr size_t kPage = 4096;
constexpr int32_t kReadWrite = PROT_READ | PROT_WRITE;

TEST(SimulatedMemoryTest, MapsAsStrictlyAsTheKernel) {
    SimulatedBoard board;
    for (const uint64_t page : {0, 2, 1, 8})
        board.AddMemory(kBase + page * kPage, kPage);
    const auto map = [&](size_t length, int32_t protection, int32_t flags, int32_t fd, int64_t offset) {
        return Result(board.Map(length, protection, flags, fd, offset) == MAP_FAILED ? -1 : 0);
    };
    const int32_t fd = board.Open("/dev/mem", O_RDWR);
    EXPECT_EQ(map(kPage, kReadWrite, MAP_SHARED, fd, kBase + 4), -EINVAL);
    EXPECT_EQ(map(0, kReadWrite, MAP_SHARED, fd, kBase), -EINVAL);
    EXPECT_EQ(map(3 * kPage, PROT_READ, MAP_SHARED, fd, kBase), 0) << "ranges that touch";
    EXPECT_EQ(map(3 * kPage + 1, PROT_READ, MAP_SHARED, fd, kBase), -EPERM);
    const int32_t readOnly = board.Open("/dev/mem", O_RDONLY);
    EXPECT_EQ(map(4, kReadWrite, MAP_SHARED, readOnly, kBase), -EACCES);
    EXPECT_EQ(map(4, PROT_READ, MAP_SHARED, readOnly, kBase), 0);
    EXPECT_EQ(map(4, kReadWrite, MAP_PRIVATE, readOnly, kBase), 0);
    EXPECT_EQ(map(4, PROT_WRITE, MAP_SHARED, board.Open("/dev/mem", O_WRONLY), kBase), -EACCES);
    EXPECT_EQ(map(4, kReadWrite, MAP_ANONYMOUS | MAP_PRIVATE, -1, 0), 0);
    EXPECT_EQ(map(4, kReadWrite, MAP_SHARED, 99, kBase), -EBADF);

    auto* const page = static_cast<uint32_t*>(board.Map(kPage, PROT_READ, MAP_SHARED, fd, kBase));
    uint32_t own = 0;
    EXPECT_DEATH(board.Write32(page, 1), "SIM: write of a word at 0x[0-9A-F]*, which is not open to that");
    EXPECT_DEATH(board.Read32(&own), "SIM: access to a word at 0x[0-9A-F]*, where nothing is mapped");
    EXPECT_EQ(Result(board.Unmap(page + 1024, kPage)), -EINVAL);
    EXPECT_EQ(Result(board.Unmap(page, 2 * kPage)), -EINVAL);
    EXPECT_EQ(board.Unmap(page, kPage), 0);
    EXPECT_EQ(Result(board.Unmap(page, kPage)), -EINVAL);
}

TEST(SimulatedMemoryTest, TheTimerNeedsItsWholeSetUp) {
    constexpr std::pair<size_t, uint32_t> steps[] = {{1, 0x20}, {4, 0x20}, {0, 0x20},
                                                     {12, 24},  {9, 25},   {3, 0x0A}};
    for (const auto& left : steps) {
        uint64_t now = 0;
        SimulatedBoard board;
        board.SetClock([&] { return now; });
        board.AddMemory(kBase, kPage);
        board.AddTimer(kBase);
        auto* const timer = static_cast<volatile uint32_t*>(
            board.Map(kPage, kReadWrite, MAP_SHARED, board.Open("/dev/mem", O_RDWR), kBase));
        for (const auto& step : steps)
            if (&step != &left)
                board.Write32(timer + step.first, step.second);
        now = 26000000;
        EXPECT_NE(board.Read32(timer + 7), 26000u) << "without word " << left.first;
    }
}

}  // namespace
}  // namespace quarn::sim
