#pragma once

#include <quarn/DeviceIO.h>

namespace quarn::bench {

/// The system's devices, for a benchmark to replace some of the calls.
class ForwardingIO : public DeviceIO {
public:
    int32_t Open(const std::string& path, int32_t flags, uint32_t mode) override {
        return system_.Open(path, flags, mode);
    }
    int32_t Close(int32_t fd) override { return system_.Close(fd); }
    ssize_t Read(int32_t fd, void* data, size_t length) override { return system_.Read(fd, data, length); }
    ssize_t Write(int32_t fd, const void* data, size_t length) override {
        return system_.Write(fd, data, length);
    }
    int64_t Seek(int32_t fd, int64_t offset, int32_t whence) override {
        return system_.Seek(fd, offset, whence);
    }
    int32_t Truncate(int32_t fd, int64_t length) override { return system_.Truncate(fd, length); }
    int32_t Sync(int32_t fd) override { return system_.Sync(fd); }
    int32_t IOCtl(int32_t fd, unsigned long request, void* argument) override {
        return system_.IOCtl(fd, request, argument);
    }
    int64_t FileSize(const std::string& path) override { return system_.FileSize(path); }
    void* Map(size_t length, int32_t protection, int32_t flags, int32_t fd, int64_t offset) override {
        return system_.Map(length, protection, flags, fd, offset);
    }
    int32_t Unmap(void* address, size_t length) override { return system_.Unmap(address, length); }
    uint32_t Read32(const volatile uint32_t* word) override { return system_.Read32(word); }
    void Write32(volatile uint32_t* word, uint32_t value) override { system_.Write32(word, value); }

protected:
    DeviceIO& system_ = DeviceIO::System();
};

}  // namespace quarn::bench
