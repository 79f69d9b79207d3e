#pragma once

/// The one way to a device: every class that opens device files does so through a DeviceIO, so that a daemon
/// can run where there is no board and a test can make hardware fail.
///
///     quarn::DeviceIO& io = quarn::DeviceIO::System();
///     const int32_t fd = io.Open("/dev/i2c-1", O_RDWR);
///     if (fd < 0) {
///         fprintf(stderr, "no bus: %s\n", strerror(errno));
///         return;
///     }
///     uint8_t status;
///     if (io.Read(fd, &status, 1) != 1)
///         fprintf(stderr, "no answer\n");
///     io.Close(fd);
///
/// Each call is the system call of its name: same arguments, same result, errno included. Nothing is thrown,
/// repeated or completed on the caller's behalf. What a call may be made on, and from which threads, is up to
/// the device behind it; the real one takes calls from any thread.

#include <quarn/Attributes.h>

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <string>

namespace quarn {

class QUARN_API DeviceIO {
public:
    /// The real devices. Lives as long as the process.
    static DeviceIO& System();

    virtual ~DeviceIO() = default;

    /// open(2); the descriptor is always close-on-exec. `mode` counts only for a file that O_CREAT creates.
    /// -1 on failure.
    virtual int32_t Open(const std::string& path, int32_t flags, uint32_t mode = 0) = 0;
    /// close(2). The descriptor is gone also when this fails.
    virtual int32_t Close(int32_t fd) = 0;
    /// read(2) and write(2): the bytes moved, which may be fewer than asked for, or -1.
    virtual ssize_t Read(int32_t fd, void* data, size_t length) = 0;
    virtual ssize_t Write(int32_t fd, const void* data, size_t length) = 0;
    /// lseek(2): the new offset, or -1.
    virtual int64_t Seek(int32_t fd, int64_t offset, int32_t whence) = 0;
    /// ftruncate(2): cuts or extends a file; what is added reads as zeros.
    virtual int32_t Truncate(int32_t fd, int64_t length) = 0;
    /// fdatasync(2): returns when what was written is on the medium.
    virtual int32_t Sync(int32_t fd) = 0;
    /// ioctl(2) with a pointer argument; an integer argument travels in the pointer.
    virtual int32_t IOCtl(int32_t fd, unsigned long request, void* argument) = 0;
    /// The size in bytes that stat(2) gives for a path, or -1 when there is no such file.
    virtual int64_t FileSize(const std::string& path) = 0;

    /// mmap(2) at an address of the system's choice: MAP_FAILED on failure.
    virtual void* Map(size_t length, int32_t protection, int32_t flags, int32_t fd, int64_t offset) = 0;
    /// munmap(2).
    virtual int32_t Unmap(void* address, size_t length) = 0;
    /// One access of 32 bits to a mapped, aligned word: never split, merged, repeated or left out.
    virtual uint32_t Read32(const volatile uint32_t* word) = 0;
    virtual void Write32(volatile uint32_t* word, uint32_t value) = 0;

protected:
    DeviceIO() = default;
    DeviceIO(const DeviceIO&) = default;
    DeviceIO& operator=(const DeviceIO&) = default;
};

}  // namespace quarn
