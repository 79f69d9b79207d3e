#include <quarn/DeviceIO.h>

#include "support/TempDirectory.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>

namespace quarn::test {
namespace {

#define EXPECT_REFUSED(error, call) \
    do {                            \
        errno = 0;                  \
        EXPECT_EQ(call, -1);        \
        EXPECT_EQ(errno, error);    \
    } while (false)

TEST(DeviceIO, IsTheSystem) {
    const TempDirectory directory;
    const std::string path = directory.File("real");
    DeviceIO& io = DeviceIO::System();
    char text[8] = {};
    EXPECT_REFUSED(ENOENT, io.Open(path, O_RDWR));
    EXPECT_REFUSED(ENOENT, io.FileSize(path));
    const int32_t fd = io.Open(path, O_RDWR | O_CREAT, 0600);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(io.Write(fd, "abcdefgh", 8), 8);
    EXPECT_EQ(io.Sync(fd), 0);
    EXPECT_EQ(io.FileSize(path), 8);
    EXPECT_EQ(io.Seek(fd, -3, SEEK_END), 5);
    EXPECT_EQ(io.Read(fd, text, sizeof text), 3);
    EXPECT_STREQ(text, "fgh");
    EXPECT_REFUSED(ENOTTY, io.IOCtl(fd, TIOCGWINSZ, text));

    void* const mapped = io.Map(8, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    volatile uint32_t* const words = static_cast<volatile uint32_t*>(mapped);
    io.Write32(words + 1, io.Read32(words));
    EXPECT_EQ(io.Unmap(mapped, 8), 0);
    EXPECT_EQ(io.Seek(fd, 0, SEEK_SET), 0);
    EXPECT_EQ(io.Read(fd, text, sizeof text), 8);
    EXPECT_EQ(std::string(text, 8), "abcdabcd");
    EXPECT_EQ(io.Truncate(fd, 3), 0);
    EXPECT_EQ(io.FileSize(path), 3);
    EXPECT_EQ(io.Close(fd), 0);
    EXPECT_REFUSED(EBADF, io.Close(fd));
}

}  // namespace
}  // namespace quarn::test
