#include <quarn/MemoryMapping.h>
#include <quarn/Text.h>
#include <quarn/sim/SimulatedBoard.h>

#include "support/DebugCapture.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

namespace quarn {
namespace {

using sim::Call;
using sim::SimulatedBoard;
using test::DebugCapture;
using test::TempDirectory;
using test::ThrownMessage;
using testing::ElementsAre;

const size_t kPage = size_t(sysconf(_SC_PAGESIZE));

TEST(MemoryMappingTest, MapsThePagesOfAPhysicalRange) {
    SimulatedBoard io;
    io.AddMemory(2 * kPage, 2 * kPage);  // mapping more is refused, using less ends the test
    io.SetWord(3 * kPage + 8, 0x12345678);
    {
        const MemoryMapping mapping(3 * kPage + 8, 4, io);
        EXPECT_EQ(io.Read32(static_cast<volatile uint32_t*>(mapping.VolatilePtr())), 0x12345678u);
        EXPECT_EQ(mapping.Ptr(), mapping.VolatilePtr());
        // A range over the end of a page is there to its last byte.
        const MemoryMapping crossing(3 * kPage - 4, 8, io);
        EXPECT_EQ(io.Read32(static_cast<uint32_t*>(crossing.Ptr()) + 1), 0u);
        const MemoryMapping whole(2 * kPage, 2 * kPage, io);
        EXPECT_EQ(io.Held(), 3u);  // no descriptors
    }
    EXPECT_EQ(io.Held(), 0u);
}

TEST(MemoryMappingTest, ZeroClearsAllPagesAndNotTheNext) {
    SimulatedBoard io;
    io.AddMemory(0, 3 * kPage);
    for (const uint64_t address : {kPage - 4, kPage, 2 * kPage - 4, 2 * kPage})
        io.SetWord(address, 0xFFFFFFFF);
    MemoryMapping(kPage + 12, 4, io).Zero();
    EXPECT_EQ(io.Word(kPage - 4), 0xFFFFFFFFu);
    EXPECT_EQ(io.Word(kPage), 0u);
    EXPECT_EQ(io.Word(2 * kPage - 4), 0u);
    EXPECT_EQ(io.Word(2 * kPage), 0xFFFFFFFFu);
}

TEST(MemoryMappingTest, MapsAFileOfWholePages) {
    const TempDirectory folder;
    const std::string path = folder.File("shared");
    {
        const MemoryMapping mapping(path, kPage + 1);
        struct stat status;
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_size, off_t(2 * kPage));
        EXPECT_EQ(status.st_mode & 07777, 0600u);
        static_cast<char*>(mapping.Ptr())[kPage] = 'x';
    }
    EXPECT_EQ(folder.Read("shared").at(kPage), 'x');
    const MemoryMapping again(path, 1);
    EXPECT_EQ(folder.Read("shared"), std::string(kPage, '\0'));
}

TEST(MemoryMappingTest, SaysWhatFailedAndLeavesNothingOpen) {
    const auto physical = [](SimulatedBoard& io) { MemoryMapping(2 * kPage + 8, 4, io); };
    const auto file = [](SimulatedBoard& io) { MemoryMapping("/file", 4, io); };
    const auto anonymous = [](SimulatedBoard& io) { MemoryMapping(4, io); };
    const std::string last = Format("0x%zx", kPage - 1);
    const struct {
        std::function<void(SimulatedBoard&)> make;
        Call call;
        int error;
        std::string message;
    } cases[] = {
        {physical, Call::OPEN, EACCES, "Could not open /dev/mem: Permission denied"},
        {physical, Call::MAP, EPERM,
         Format("mmap failed on physical range [0x%zx..0x%zx): Operation not permitted", 2 * kPage,
                3 * kPage - 1)},
        {file, Call::OPEN, EROFS, "Could not open /file: Read-only file system"},
        {file, Call::TRUNCATE, ENOSPC,
         Format("Could not make /file %zu bytes long: No space left on device", kPage)},
        {file, Call::MAP, ENOMEM,
         "mmap failed on physical range [(nil).." + last + "): Cannot allocate memory"},
        // Nothing is made to fail here: the request itself is what the system refuses.
        {anonymous, Call::CLOSE, 0, "mmap failed on physical range [(nil).." + last + "): Invalid argument"},
    };
    for (const auto& c : cases) {
        SimulatedBoard io;
        io.AddFile("/file");
        io.Fail(c.call, c.error);
        EXPECT_EQ(ThrownMessage([&] { c.make(io); }), c.message);
        EXPECT_EQ(io.Held(), 0u) << c.message;
        EXPECT_EQ(io.Count(Call::UNMAP), 0u) << c.message;
    }
    // A length that cannot be rounded up is refused, not wrapped into a small one.
    SimulatedBoard io;
    EXPECT_THAT(ThrownMessage([&] { MemoryMapping(kPage, SIZE_MAX - 8, io); }),
                testing::EndsWith("): Cannot allocate memory"));
}

TEST(MemoryMappingTest, PrintsThatItCouldNotUnmap) {
    SimulatedBoard io;
    io.AddMemory(kPage, kPage);
    DebugCapture debug(DEBUG_ERR);
    void* base;
    {
        const MemoryMapping mapping(kPage, 4, io);
        base = mapping.Ptr();
        io.Fail(Call::UNMAP, EINVAL);
    }
    EXPECT_THAT(debug.Lines(),
                ElementsAre(Format("munmap failed on virtual range [%p..%p): Invalid argument", base,
                                   static_cast<void*>(static_cast<char*>(base) + kPage))));
}

}  // namespace
}  // namespace quarn
