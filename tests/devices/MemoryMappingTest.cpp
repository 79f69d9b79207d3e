#include "devices/DeviceTest.h"
#include "support/TempDirectory.h"

#include <sys/stat.h>
#include <unistd.h>

namespace quarn::test {

const size_t kPage = size_t(sysconf(_SC_PAGESIZE));

TEST(MemoryMappingTest, MapsAndClearsThePagesOfAPhysicalRange) {
    SimulatedBoard io;
    io.AddMemory(0, 3 * kPage);
    io.SetWord(kPage + 8, 0x12345678);
    {
        const MemoryMapping mapping(kPage + 8, 4, io);
        EXPECT_EQ(io.Read32(static_cast<volatile uint32_t*>(mapping.VolatilePtr())), 0x12345678u);
        EXPECT_EQ(mapping.Ptr(), mapping.VolatilePtr());
        // A range over the end of a page is there to its last byte; using less than is mapped ends the test.
        const MemoryMapping crossing(2 * kPage - 4, 8, io);
        EXPECT_EQ(io.Read32(static_cast<uint32_t*>(crossing.Ptr()) + 1), 0u);
        EXPECT_EQ(ThrownMessage([&] { MemoryMapping(kPage, 2 * kPage, io); }), kNothingThrown);
        EXPECT_EQ(io.Held(), 2u);  // no descriptors
    }
    EXPECT_EQ(io.Held(), 0u);

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

TEST(MemoryMappingTest, SaysWhichRangeFailed) {
    // The request itself is what the system refuses.
    EXPECT_EQ(ThrownMessage([] { MemoryMapping mapping(4); }),
              Format("mmap failed on physical range [(nil)..0x%zx): Invalid argument", kPage - 1));
    SimulatedBoard io;
    io.AddMemory(kPage, kPage);
    DebugCapture debug(DEBUG_ERR);
    const char* base;
    {
        const MemoryMapping mapping(kPage, 4, io);
        base = static_cast<char*>(mapping.Ptr());
        io.Fail(Call::UNMAP, EINVAL);
    }
    EXPECT_EQ(debug.Lines(),
              Lines{Format("munmap failed on virtual range [%p..%p): Invalid argument", base, base + kPage)});
}

}  // namespace quarn::test
