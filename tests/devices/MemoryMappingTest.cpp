#include <quarn/MemoryMapping.h>
#include <quarn/Text.h>

#include "devices/DeviceTest.h"
#include "support/TempDirectory.h"

#include <sys/stat.h>
#include <unistd.h>

namespace quarn::test {
namespace {

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

TEST(MemoryMappingTest, SaysWhatFailedAndLeavesNothingOpen) {
    SimulatedBoard io;
    io.AddFile("/file");
    const auto physical = [&](Call call, int error) {
        io.Fail(call, error);
        return ThrownMessage([&] { MemoryMapping(2 * kPage + 8, 4, io); });
    };
    const auto file = [&](Call call, int error) {
        io.Fail(call, error);
        return ThrownMessage([&] { MemoryMapping("/file", 4, io); });
    };
    const std::string failed = "mmap failed on physical range ";
    const std::string atZero = failed + Format("[(nil)..0x%zx): ", kPage - 1);
    EXPECT_EQ(physical(Call::OPEN, EACCES), "Could not open /dev/mem: Permission denied");
    EXPECT_EQ(physical(Call::MAP, EPERM),
              failed + Format("[0x%zx..0x%zx): Operation not permitted", 2 * kPage, 3 * kPage - 1));
    EXPECT_EQ(file(Call::OPEN, EROFS), "Could not open /file: Read-only file system");
    EXPECT_EQ(file(Call::TRUNCATE, ENOSPC),
              Format("Could not make /file %zu bytes long: No space left on device", kPage));
    EXPECT_EQ(file(Call::MAP, ENOMEM), atZero + "Cannot allocate memory");
    // The request itself is what the system refuses.
    EXPECT_EQ(ThrownMessage([&] { MemoryMapping mapping(4); }), atZero + "Invalid argument");
    // A length that cannot be rounded up is refused, not wrapped into a small one.
    EXPECT_THAT(ThrownMessage([&] { MemoryMapping(kPage, SIZE_MAX - 8, io); }),
                testing::EndsWith("): Cannot allocate memory"));
    EXPECT_EQ(io.Held(), 0u);
    EXPECT_EQ(io.Count(Call::UNMAP), 0u);

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

}  // namespace
}  // namespace quarn::test
