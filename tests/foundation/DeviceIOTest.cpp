#include <quarn/DeviceIO.h>

#include "support/FakeDeviceIO.h"
#include "support/TempDirectory.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <string.h>
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

/// Through either interface, on a real file: the fake forwards what is not its own.
void UseFile(DeviceIO& io, const std::string& path) {
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

TEST(DeviceIO, IsTheSystemAndTheFakeForwardsToIt) {
    const TempDirectory directory;
    UseFile(DeviceIO::System(), directory.File("real"));
    FakeDeviceIO fake;
    UseFile(fake, directory.File("forwarded"));
    EXPECT_EQ(fake.Count(Call::WRITE), 1u);
}

TEST(FakeDeviceIO, RefusesWhatDevicesRefuse) {
    FakeDeviceIO io;
    io.AddAbsentFile("/file");
    io.AddEEPROM("/eeprom", 16);
    const std::string flash = io.AddMTD("persist", 32, 16);
    uint8_t bytes[20];
    memset(bytes, 0x0F, sizeof bytes);

    EXPECT_REFUSED(ENOENT, io.Open("/file", O_RDWR));
    EXPECT_REFUSED(ENOENT, io.FileSize("/file"));
    EXPECT_REFUSED(EACCES, io.Open("/proc/mtd", O_RDWR));
    const int32_t file = io.Open("/file", O_WRONLY | O_CREAT);
    EXPECT_REFUSED(EBADF, io.Read(file, bytes, 1));
    EXPECT_REFUSED(EINVAL, io.Seek(file, -1, SEEK_SET));
    EXPECT_EQ(io.Map(4, PROT_READ, MAP_SHARED, file, 0), MAP_FAILED);

    const int32_t eeprom = io.Open("/eeprom", O_RDWR);
    EXPECT_EQ(io.Write(eeprom, bytes, 20), 16);  // to its end
    EXPECT_REFUSED(EFBIG, io.Write(eeprom, bytes, 1));
    EXPECT_EQ(io.Read(eeprom, bytes, 1), 0);

    erase_info_user range = {16, 16};
    const int32_t readOnly = io.Open(flash, O_RDONLY);
    EXPECT_REFUSED(EPERM, io.IOCtl(readOnly, MEMERASE, &range));
    EXPECT_REFUSED(EBADF, io.Write(readOnly, bytes, 1));
    const int32_t writable = io.Open(flash, O_RDWR);
    for (const erase_info_user bad : {erase_info_user{8, 16}, {16, 8}, {16, 32}, {0, 0}}) {
        range = bad;
        EXPECT_REFUSED(EINVAL, io.IOCtl(writable, MEMERASE, &range));
    }
    EXPECT_REFUSED(ENOTTY, io.IOCtl(eeprom, MEMERASE, &range));
    EXPECT_REFUSED(EINVAL, io.Sync(writable));
    EXPECT_REFUSED(EINVAL, io.Truncate(eeprom, 1));
    EXPECT_REFUSED(EINVAL, io.Seek(writable, 33, SEEK_SET));
    EXPECT_EQ(io.Seek(writable, 32, SEEK_SET), 32);
    EXPECT_REFUSED(ENOSPC, io.Write(writable, bytes, 1));

    for (const int32_t fd : {file, eeprom, readOnly, writable})
        EXPECT_EQ(io.Close(fd), 0);
    EXPECT_REFUSED(EBADF, io.Close(file));
    EXPECT_REFUSED(EBADF, io.Write(file, bytes, 1));
    EXPECT_EQ(io.OpenDescriptors(), 0u);
}

TEST(FakeDeviceIO, FlashOnlyClearsBitsUntilItIsErased) {
    FakeDeviceIO io;
    const std::string path = io.AddMTD("persist", 4, 2);
    const int32_t fd = io.Open(path, O_RDWR);
    for (const char* bytes : {"\xF0\x0F\x0F", "\x3C\xFF\x0F"}) {
        io.Seek(fd, 0, SEEK_SET);
        EXPECT_EQ(io.Write(fd, bytes, 3), 3);
    }
    EXPECT_EQ(io.Contents(path), (std::vector<uint8_t>{0x30, 0x0F, 0x0F, 0xFF}));
    erase_info_user first = {0, 2};
    EXPECT_EQ(io.IOCtl(fd, MEMERASE, &first), 0);
    EXPECT_EQ(io.Contents(path), (std::vector<uint8_t>{0xFF, 0xFF, 0x0F, 0xFF}));
}

TEST(FakeDeviceIO, FailsOnRequest) {
    FakeDeviceIO io;
    io.AddFile("/file", {1, 2, 3, 4});
    io.Fail(Call::READ, ETIMEDOUT, 2, 1);
    io.Shorten(Call::READ, 3);
    const int32_t fd = io.Open("/file", O_RDONLY);
    uint8_t bytes[4];
    EXPECT_EQ(io.Read(fd, bytes, 4), 3);
    EXPECT_REFUSED(ETIMEDOUT, io.Read(fd, bytes, 4));
    EXPECT_REFUSED(ETIMEDOUT, io.Read(fd, bytes, 4));
    EXPECT_EQ(io.Read(fd, bytes, 4), 1);
    io.Fail(Call::CLOSE, EIO);
    EXPECT_REFUSED(EIO, io.Close(fd));
    EXPECT_EQ(io.OpenDescriptors(), 0u);
}

TEST(FakeDeviceIO, LosesPowerInTheMiddleOfAWrite) {
    FakeDeviceIO io;
    const auto contentsAfterCut = [&io](Unsynced unsynced) {
        io.AddFile("/file", {1, 1, 1, 1});
        const int32_t fd = io.Open("/file", O_RDWR);
        io.CutPowerAfter(5);
        EXPECT_EQ(io.Write(fd, "\2\2", 2), 2);
        EXPECT_EQ(io.Sync(fd), 0);
        EXPECT_REFUSED(EIO, io.Write(fd, "\3\3\3\3", 4));
        EXPECT_FALSE(io.HasPower());
        EXPECT_REFUSED(EIO, io.Sync(fd));
        EXPECT_REFUSED(EIO, io.Open("/file", O_RDONLY));
        io.RestorePower(unsynced);
        EXPECT_REFUSED(EBADF, io.Write(fd, "", 1));
        return io.Contents("/file");
    };
    EXPECT_EQ(contentsAfterCut(Unsynced::LOST), (std::vector<uint8_t>{2, 2, 1, 1}));
    EXPECT_EQ(contentsAfterCut(Unsynced::KEPT), (std::vector<uint8_t>{2, 2, 3, 3, 3}));
}

}  // namespace
}  // namespace quarn::test
