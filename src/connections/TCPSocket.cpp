#include <quarn/MonitorException.h>
#include <quarn/SocketUtilities.h>
#include <quarn/TCPSocket.h>

#include "connections/SocketFailure.h"
#include "foundation/Descriptor.h"
#include "foundation/ErrnoText.h"

#include <errno.h>
#include <sys/socket.h>

namespace quarn {

namespace {

Descriptor CreateSocket() {
    Descriptor fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (fd.Get() < 0)
        throw MonitorException("Failed to create socket: %s", ErrnoText(errno).c_str());
    return fd;
}

}  // namespace

class TCPSocket::Impl {
public:
    explicit Impl(Descriptor fd) : fd_(std::move(fd)) {
        if (fd_.Get() < 0)
            return;
        SocketUtilities::SetBlocking(fd_.Get(), false);
        SocketUtilities::SetNagle(fd_.Get(), false);
    }

    int Socket() const { return fd_.Get(); }

    int ErrorCheck() const {
        if (fd_.Get() < 0)
            throw MonitorException("Calling ErrorCheck on uncreated TCPSocket");
        int pending = 0;
        socklen_t length = sizeof pending;
        if (getsockopt(fd_.Get(), SOL_SOCKET, SO_ERROR, &pending, &length) < 0)
            ThrowSocketFailure(fd_.Get(), "getsockopt(SO_ERROR) failed", errno);
        return pending;
    }

private:
    Descriptor fd_;
};

TCPSocket::TCPSocket() : impl_(std::make_unique<Impl>(CreateSocket())) {}
TCPSocket::TCPSocket(int fd) : impl_(std::make_unique<Impl>(Descriptor(fd))) {}
TCPSocket::~TCPSocket() = default;

bool TCPSocket::SetReadableFileDescriptorBit(fd_set* set, int* maxFd) {
    SocketUtilities::SetDescriptorBit(impl_->Socket(), set, maxFd);
    return true;
}

int TCPSocket::Socket() {
    return impl_->Socket();
}
std::string TCPSocket::Describe() const {
    return SocketUtilities::Describe(impl_->Socket());
}
bool TCPSocket::SocketWritable() const {
    return SocketUtilities::SocketWritable(impl_->Socket());
}
int TCPSocket::ErrorCheck() const {
    return impl_->ErrorCheck();
}

}  // namespace quarn
