#pragma once

#include <quarn/DeviceIO.h>

#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/mman.h>
#include <sys/types.h>

#include <memory>

namespace quarn::sim {

class Medium;

/// Fails as a system call does.
inline int32_t Refuse(int error) {
    errno = error;
    return -1;
}

/// A descriptor's end at a device. By default every call is refused as the kernel refuses it when a driver
/// does not offer it.
class OpenFile {
public:
    virtual ~OpenFile() = default;

    /// Who the file belongs to when it is not the board's: calls then need nothing of the board, may take
    /// long, and are made without its lock.
    virtual DeviceIO* Owner() const { return nullptr; }

    virtual int32_t Close() { return 0; }
    virtual ssize_t Read(void*, size_t) { return Refuse(EINVAL); }
    virtual ssize_t Write(const void*, size_t) { return Refuse(EINVAL); }
    virtual int64_t Seek(int64_t, int32_t) { return Refuse(ESPIPE); }
    virtual int32_t Truncate(int64_t) { return Refuse(EINVAL); }
    virtual int32_t Sync() { return Refuse(EINVAL); }
    virtual int32_t IOCtl(unsigned long, void*) { return Refuse(ENOTTY); }
    virtual void* Map(size_t, int32_t, int32_t, int64_t) {
        errno = ENODEV;
        return MAP_FAILED;
    }
};

/// What is behind a path.
class Node {
public:
    virtual ~Node() = default;
    /// Null, with errno set, on failure. The file must not outlive the node.
    virtual std::unique_ptr<OpenFile> Open(int32_t flags) = 0;
    virtual int64_t Size() const { return 0; }
    /// False for a file that is yet to be created.
    virtual bool Exists() const { return true; }
    /// What it stores, null for a device that stores nothing.
    virtual Medium* Storage() { return nullptr; }
};

}  // namespace quarn::sim
