#include <quarn/sim/SimulatedBoard.h>

#include "sim/BoardCalls.h"
#include "support/CountDescriptors.h"
#include "support/FileSizeLimit.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>

#include <string>
#include <vector>

namespace quarn::sim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

TEST(SimulatedBoard, LeavesNothingOpenWhereThereIsNoMemoryForIt) {
    const size_t before = test::CountDescriptors();
    {
        const test::FileSizeLimit limit(kPage);
        EXPECT_EQ(test::ThrownMessage([] { SimulatedBoard board; }),
                  "SIM: no memory for the board's memory: File too large");
    }
    EXPECT_EQ(test::CountDescriptors(), before);
}

TEST_F(SimulatedMemoryTest, MapsAsStrictlyAsTheKernel) {
    const int32_t fd = OpenMemory();
    const int32_t readOnly = OpenMemory(O_RDONLY);
    const int32_t writeOnly = OpenMemory(O_WRONLY);
    char* const base = static_cast<char*>(board_.Map(kPage, kReadWrite, MAP_SHARED, fd, kBase));
    ASSERT_NE(base, MAP_FAILED);
    char buffer[4];
    ExpectResults({
        {"in a page", [&] { return MapResult(kPage, kReadWrite, MAP_SHARED, fd, kBase + 4); }, -EINVAL},
        {"nothing", [&] { return MapResult(0, kReadWrite, MAP_SHARED, fd, kBase); }, -EINVAL},
        {"neither shared nor private", [&] { return MapResult(kPage, kReadWrite, 0, fd, kBase); }, -EINVAL},
        {"all ranges that touch", [&] { return MapResult(3 * kPage, PROT_READ, MAP_SHARED, fd, kBase); }, 0},
        {"beyond them", [&] { return MapResult(3 * kPage + 1, PROT_READ, MAP_SHARED, fd, kBase); }, -EPERM},
        {"elsewhere", [&] { return MapResult(4, PROT_READ, MAP_SHARED, fd, 0x1000); }, -EPERM},
        {"larger than all memory", [&] { return MapResult(SIZE_MAX, PROT_READ, MAP_SHARED, fd, 0); },
         -ENOMEM},
        {"to write", [&] { return MapResult(4, kReadWrite, MAP_SHARED, readOnly, kBase); }, -EACCES},
        {"to read", [&] { return MapResult(4, PROT_READ, MAP_SHARED, readOnly, kBase); }, 0},
        {"private", [&] { return MapResult(4, kReadWrite, MAP_PRIVATE, readOnly, kBase); }, 0},
        {"write-only", [&] { return MapResult(4, PROT_WRITE, MAP_SHARED, writeOnly, kBase); }, -EACCES},
        {"read()", [&] { return board_.Read(fd, buffer, 4); }, -EFAULT},
        {"write()", [&] { return board_.Write(fd, buffer, 4); }, -EFAULT},
        {"anonymous, neither", [&] { return MapResult(4, kReadWrite, MAP_ANONYMOUS, -1, 0); }, -EINVAL},
        {"anonymous", [&] { return MapResult(4, kReadWrite, MAP_ANONYMOUS | MAP_PRIVATE, -1, 0); }, 0},
        {"no descriptor", [&] { return MapResult(4, kReadWrite, MAP_SHARED, 3, kBase); }, -EBADF},
        {"not the beginning", [&] { return board_.Unmap(base + kPage, kPage); }, -EINVAL},
        {"not the length", [&] { return board_.Unmap(base, 2 * kPage); }, -EINVAL},
        {"unmap", [&] { return board_.Unmap(base, kPage); }, 0},
        {"again", [&] { return board_.Unmap(base, kPage); }, -EINVAL},
    });
    EXPECT_EQ(board_.Held(), 3u + 4);  // descriptors and mappings
}

TEST_F(SimulatedMemoryTest, NotesAccessesInOrder) {
    volatile uint32_t* const page = MapPage(kBase);
    volatile uint32_t* const again = MapPage(kBase);
    board_.Write32(page, 1);
    EXPECT_THAT(board_.TakeAccesses(), IsEmpty());
    board_.SetWord(kBase + 8, 0xCAFE);
    EXPECT_EQ(board_.Read32(page + 2), 0xCAFEu);
    board_.Write32(again + 3, 0xF00D);
    EXPECT_EQ(page[3], 0xF00Du);
    EXPECT_EQ(board_.Word(kBase + 12), 0xF00Du);
    EXPECT_THAT(board_.TakeAccesses(), ElementsAre("r 0xA0000008", "w 0xA000000C 0xF00D"));
    EXPECT_THAT(board_.TakeAccesses(), IsEmpty());
}

TEST_F(SimulatedMemoryTest, AnAccessToWhatIsNotMappedEndsTheProcess) {
    volatile uint32_t* const page = MapPage(kBase, PROT_READ);
    uint32_t own = 0;
    EXPECT_DEATH(board_.Write32(page, 1), "SIM: write of a word at 0x[0-9A-F]*, which is not open to that");
    EXPECT_DEATH(board_.Read32(&own), "SIM: access to a word at 0x[0-9A-F]*, where nothing is mapped");
    auto* const unaligned = reinterpret_cast<volatile uint32_t*>(reinterpret_cast<uintptr_t>(page) + 2);
    EXPECT_DEATH(board_.Read32(unaligned), "SIM: read of a word at 0x[0-9A-F]*, which is not open to that");
}

TEST_F(SimulatedMemoryTest, CountersGoByTheClock) {
    board_.AddCounter(kBase + 0x40, 48000);
    volatile uint32_t* const counter = MapPage(kBase) + 0x10;
    board_.SetWord(kBase + 0x40, 0xFFFFFFF0);
    EXPECT_EQ(board_.Read32(counter), 0xFFFFFFF0u);
    now_ += 1000000;
    EXPECT_EQ(board_.Read32(counter), 0x20u);  // 48 on
    board_.Write32(counter, 7);
    EXPECT_EQ(board_.Word(kBase + 0x40), 0x20u);
    now_ += 3600ull * 1000000000;
    EXPECT_EQ(board_.Read32(counter), 0x20u + 3600 * 48000);
}

/// The set-up of the hardware clock, by words.
const std::vector<std::pair<size_t, uint32_t>> kSetUp = {
    {3, 1}, {4, 1}, {5, 1}, {1, 0x20}, {4, 0x20}, {0, 0x20}, {12, 24}, {9, 25}, {3, 0x0A},
};

TEST_F(SimulatedMemoryTest, TheTimerNeedsItsWholeSetUp) {
    for (size_t left = 3; left < kSetUp.size(); ++left) {  // those before stop what stands still
        SimulatedBoard board;
        board.SetClock([this] { return now_; });
        board.AddMemory(kBase, kPage);
        board.AddTimer(kBase);
        const int32_t fd = board.Open("/dev/mem", O_RDWR);
        auto* const timer =
            static_cast<volatile uint32_t*>(board.Map(kPage, kReadWrite, MAP_SHARED, fd, kBase));
        for (size_t i = 0; i < kSetUp.size(); ++i)
            if (i != left)
                board.Write32(timer + kSetUp[i].first, kSetUp[i].second);
        now_ += 26000000;
        EXPECT_NE(board.Read32(timer + 7), 26000u) << "without write " << left + 1;
        board.Write32(timer + 7, 5);  // a count is not for writing
        EXPECT_NE(board.Read32(timer + 7), 5u);
        board.Write32(timer + 4, 0x30);  // but can be reset
        EXPECT_EQ(board.Read32(timer + 7), 0u);
    }
}

}  // namespace
}  // namespace quarn::sim
