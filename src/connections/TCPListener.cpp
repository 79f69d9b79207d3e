#include <quarn/SocketUtilities.h>
#include <quarn/TCPConnection.h>
#include <quarn/TCPListener.h>
#include <quarn/TCPSocket.h>
#include <quarn/Text.h>

#include "connections/SocketAddress.h"
#include "connections/SocketFailure.h"
#include "foundation/Descriptor.h"

#include <errno.h>
#include <sys/socket.h>

namespace quarn {

namespace {

constexpr int LISTEN_BACKLOG = 4096;

bool Enable(int fd, int option) {
    const int on = 1;
    return setsockopt(fd, SOL_SOCKET, option, &on, sizeof on) == 0;
}

}  // namespace

class TCPListener::Impl {
public:
    Impl(const IPAddress& address, uint16_t port) {
        const int fd = socket_.Socket();
        if (!Enable(fd, SO_REUSEADDR))
            ThrowSocketFailure(fd, "Could not enable address re-use", errno);
        if (!Enable(fd, SO_REUSEPORT))
            ThrowSocketFailure(fd, "Could not enable port re-use", errno);
        const sockaddr_in local = MakeSocketAddress(address, port);
        if (bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) < 0) {
            const int error = errno;
            const std::string what = Format("Failed to bind to %s:%u", address.ToString().c_str(), port);
            ThrowSocketFailure(fd, what.c_str(), error);
        }
        if (listen(fd, LISTEN_BACKLOG) < 0)
            ThrowSocketFailure(fd, "Failed to listen", errno);
    }

    TCPSocket& Socket() { return socket_; }

    TCPConnection* Accept(const std::string& nameTemplate) {
        Descriptor fd(accept4(socket_.Socket(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (fd.Get() < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK)
                return nullptr;
            ThrowSocketFailure(socket_.Socket(), "Error accepting connection", errno);
        }
        std::string name = nameTemplate;
        StringReplace(name, "$peer$", SocketUtilities::DescribePeer(fd.Get()));
        ++clientCount_;
        return new TCPConnection(name, clientCount_, fd.Release());
    }

private:
    TCPSocket socket_;
    uint32_t clientCount_ = 0;
};

TCPListener::TCPListener(const IPAddress& address, uint16_t port)
    : impl_(std::make_unique<Impl>(address, port)) {}
TCPListener::~TCPListener() = default;

TCPConnection* TCPListener::Accept(const std::string& nameTemplate) {
    return impl_->Accept(nameTemplate);
}
int TCPListener::Socket() {
    return impl_->Socket().Socket();
}
uint16_t TCPListener::GetPort() const {
    return ntohs(GetLocalAddress(impl_->Socket().Socket()).sin_port);
}
bool TCPListener::SetReadableFileDescriptorBit(fd_set* set, int* maxFd) {
    return impl_->Socket().SetReadableFileDescriptorBit(set, maxFd);
}

}  // namespace quarn
