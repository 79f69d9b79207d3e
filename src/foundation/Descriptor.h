#pragma once

#include <unistd.h>

#include <utility>

namespace quarn {

/// Closes a file descriptor at the end of its life, -1 standing for none.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0)
            close(fd_);
    }
    Descriptor(Descriptor&& other) noexcept : fd_(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }

    int Get() const { return fd_; }
    int Release() { return std::exchange(fd_, -1); }

private:
    int fd_;
};

}  // namespace quarn
