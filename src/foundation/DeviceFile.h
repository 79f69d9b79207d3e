#pragma once

#include <quarn/DeviceIO.h>

#include <errno.h>

namespace quarn {

/// Closes a descriptor of a DeviceIO at the end of its life, -1 standing for none. Leaves errno alone.
class DeviceFile {
public:
    DeviceFile(DeviceIO& io, int32_t fd) : io_(io), fd_(fd) {}
    ~DeviceFile() {
        const int error = errno;
        if (fd_ >= 0)
            io_.Close(fd_);
        errno = error;
    }
    DeviceFile(const DeviceFile&) = delete;
    DeviceFile& operator=(const DeviceFile&) = delete;

    int32_t Get() const { return fd_; }

private:
    DeviceIO& io_;
    const int32_t fd_;
};

}  // namespace quarn
