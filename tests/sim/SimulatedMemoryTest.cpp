#include <quarn/sim/SimulatedBoard.h>

#include "sim/BoardCalls.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>

#include <vector>

namespace quarn::sim {
namespace {

constexpr uint64_t kBase = 0xA0000000;
constexpr size_t kPage = 4096;
constexpr int32_t kReadWrite = PROT_READ | PROT_WRITE;

class SimulatedMemoryTest : public testing::Test {
protected:
    SimulatedMemoryTest() {
        board_.AddMemory(kBase, kPage);
        board_.AddMemory(kBase + 2 * kPage, kPage);
        board_.AddMemory(kBase + kPage, kPage);
        board_.AddMemory(kBase + 8 * kPage, kPage);
        board_.SetClock([this] { return now_; });
    }

    int32_t OpenMemory(int32_t flags = O_RDWR) { return board_.Open("/dev/mem", flags); }
    /// 0, or the errno, negative.
    int64_t MapResult(size_t length, int32_t protection, int32_t flags, int32_t fd, uint64_t offset) {
        void* const base = board_.Map(length, protection, flags, fd, int64_t(offset));
        return base == MAP_FAILED ? -errno : 0;
    }
    volatile uint32_t* MapPage(uint64_t address, int32_t protection = kReadWrite) {
        void* const base = board_.Map(kPage, protection, MAP_SHARED, OpenMemory(), int64_t(address));
        EXPECT_NE(base, MAP_FAILED);
        return static_cast<volatile uint32_t*>(base);
    }

    uint64_t now_ = 123456789;
    SimulatedBoard board_;
};

TEST_F(SimulatedMemoryTest, MapsAsStrictlyAsTheKernel) {
    const int32_t fd = OpenMemory();
    const int32_t readOnly = OpenMemory(O_RDONLY);
    char* const base = static_cast<char*>(board_.Map(kPage, kReadWrite, MAP_SHARED, fd, kBase));
    ASSERT_NE(base, MAP_FAILED);
    EXPECT_EQ(MapResult(kPage, kReadWrite, MAP_SHARED, fd, kBase + 4), -EINVAL);
    EXPECT_EQ(MapResult(0, kReadWrite, MAP_SHARED, fd, kBase), -EINVAL);
    EXPECT_EQ(MapResult(3 * kPage, PROT_READ, MAP_SHARED, fd, kBase), 0) << "ranges that touch";
    EXPECT_EQ(MapResult(3 * kPage + 1, PROT_READ, MAP_SHARED, fd, kBase), -EPERM);
    EXPECT_EQ(MapResult(4, kReadWrite, MAP_SHARED, readOnly, kBase), -EACCES);
    EXPECT_EQ(MapResult(4, PROT_READ, MAP_SHARED, readOnly, kBase), 0);
    EXPECT_EQ(MapResult(4, kReadWrite, MAP_PRIVATE, readOnly, kBase), 0);
    EXPECT_EQ(MapResult(4, PROT_WRITE, MAP_SHARED, OpenMemory(O_WRONLY), kBase), -EACCES);
    EXPECT_EQ(MapResult(4, kReadWrite, MAP_ANONYMOUS | MAP_PRIVATE, -1, 0), 0);
    EXPECT_EQ(MapResult(4, kReadWrite, MAP_SHARED, 3, kBase), -EBADF);
    EXPECT_EQ(Result(board_.Unmap(base + kPage, kPage)), -EINVAL);
    EXPECT_EQ(Result(board_.Unmap(base, 2 * kPage)), -EINVAL);
    EXPECT_EQ(board_.Unmap(base, kPage), 0);
    EXPECT_EQ(Result(board_.Unmap(base, kPage)), -EINVAL);
}

TEST_F(SimulatedMemoryTest, AnAccessToWhatIsNotMappedEndsTheProcess) {
    volatile uint32_t* const page = MapPage(kBase, PROT_READ);
    uint32_t own = 0;
    EXPECT_DEATH(board_.Write32(page, 1), "SIM: write of a word at 0x[0-9A-F]*, which is not open to that");
    EXPECT_DEATH(board_.Read32(&own), "SIM: access to a word at 0x[0-9A-F]*, where nothing is mapped");
}

/// The set-up of the hardware clock, by words.
const std::vector<std::pair<size_t, uint32_t>> kSetUp = {
    {3, 1}, {4, 1}, {5, 1}, {1, 0x20}, {4, 0x20}, {0, 0x20}, {12, 24}, {9, 25}, {3, 0x0A},
};

TEST_F(SimulatedMemoryTest, TheTimerNeedsItsWholeSetUp) {
    for (size_t left = 3; left < kSetUp.size(); ++left) {  // those before stop what stands still
        board_.AddTimer(kBase + left * 0x100);
        volatile uint32_t* const timer = MapPage(kBase) + left * 0x40;
        for (size_t i = 0; i < kSetUp.size(); ++i)
            if (i != left)
                board_.Write32(timer + kSetUp[i].first, kSetUp[i].second);
        now_ += 26000000;
        EXPECT_NE(board_.Read32(timer + 7), 26000u) << "without write " << left + 1;
        board_.Write32(timer + 7, 5);  // a count is not for writing
        EXPECT_NE(board_.Read32(timer + 7), 5u);
        board_.Write32(timer + 4, 0x30);  // but can be reset
        EXPECT_EQ(board_.Read32(timer + 7), 0u);
    }
}

}  // namespace
}  // namespace quarn::sim
