#include <quarn/DeviceIO.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarn {

namespace {

class SystemDeviceIO : public DeviceIO {
public:
    int32_t Open(const std::string& path, int32_t flags, uint32_t mode) override {
        return open(path.c_str(), flags | O_CLOEXEC, mode);
    }
    int32_t Close(int32_t fd) override { return close(fd); }
    ssize_t Read(int32_t fd, void* data, size_t length) override { return read(fd, data, length); }
    ssize_t Write(int32_t fd, const void* data, size_t length) override { return write(fd, data, length); }
    int64_t Seek(int32_t fd, int64_t offset, int32_t whence) override { return lseek(fd, offset, whence); }
    int32_t Truncate(int32_t fd, int64_t length) override { return ftruncate(fd, length); }
    int32_t Sync(int32_t fd) override { return fdatasync(fd); }
    int32_t IOCtl(int32_t fd, unsigned long request, void* argument) override {
        return ioctl(fd, request, argument);
    }
    int64_t FileSize(const std::string& path) override {
        struct stat status;
        return stat(path.c_str(), &status) == 0 ? status.st_size : -1;
    }
    void* Map(size_t length, int32_t protection, int32_t flags, int32_t fd, int64_t offset) override {
        return mmap(nullptr, length, protection, flags, fd, offset);
    }
    int32_t Unmap(void* address, size_t length) override { return munmap(address, length); }
    uint32_t Read32(const volatile uint32_t* word) override { return *word; }
    void Write32(volatile uint32_t* word, uint32_t value) override { *word = value; }
};

}  // namespace

DeviceIO& DeviceIO::System() {
    // Never destroyed: devices are closed through it by whatever outlives main().
    static SystemDeviceIO* const system = new SystemDeviceIO;
    return *system;
}

}  // namespace quarn
