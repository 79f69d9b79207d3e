#include "foundation/FoundationTest.h"

#include <fcntl.h>
#include <sys/mman.h>

namespace quarn::test {

TEST(DeviceIO, IsTheSystem) {
    const TempDirectory directory;
    const std::string path = directory.File("real");
    DeviceIO& io = DeviceIO::System();
    EXPECT_EQ(io.FileSize(path), -1);
    const int32_t fd = io.Open(path, O_RDWR | O_CREAT, 0600);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(io.Write(fd, "abcdefgh", 8), 8);
    uint32_t* const words = static_cast<uint32_t*>(io.Map(8, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
    ASSERT_NE(words, MAP_FAILED);
    io.Write32(words + 1, io.Read32(words));
    EXPECT_EQ(io.Unmap(words, 8), 0);
    EXPECT_EQ(io.Truncate(fd, 7), 0);
    EXPECT_EQ(io.Close(fd), 0);
    EXPECT_EQ(directory.Read("real"), "abcdabc");
}

}  // namespace quarn::test
