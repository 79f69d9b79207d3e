#include <quarn/Debug.h>
#include <quarn/MonitorException.h>
#include <quarn/SocketUtilities.h>
#include <quarn/UDPSocket.h>

#include "connections/DatagramSocket.h"
#include "connections/SocketAddress.h"
#include "foundation/Descriptor.h"
#include "foundation/ErrnoText.h"

#include <errno.h>
#include <sys/socket.h>

namespace quarn {

Descriptor OpenDatagramSocket() {
    Descriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (fd.Get() < 0)
        throw MonitorException("Failed to create socket: %s", ErrnoText(errno).c_str());
    try {
        SocketUtilities::SetBlocking(fd.Get(), false);
    } catch (const MonitorException& e) {
        throw MonitorException("Failed to configure socket: %s", e.Description().c_str());
    }
    return fd;
}

class UDPSocket::Impl {
public:
    Impl(const IPAddress& address, uint16_t port) : fd_(OpenDatagramSocket()) {
        const sockaddr_in local = MakeSocketAddress(address, port);
        if (bind(fd_.Get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) < 0) {
            const int error = errno;
            throw MonitorException("Failed to bind socket to %s:%u: %s", address.ToString().c_str(), port,
                                   ErrnoText(error).c_str());
        }
    }

    ~Impl() {
        const int fd = fd_.Release();
        const bool closed = close(fd) == 0;
        const int error = errno;
        if (!DefaultDebug())
            return;
        // Success is deliberately an ERR message too.
        if (closed)
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "UDPSocket: Closed socket %d", fd);
        else
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "UDPSocket: Failed to close socket %d: %s",
                                   fd, ErrnoText(error).c_str());
    }

    int Socket() const { return fd_.Get(); }

    size_t Send(const void* data, size_t length, const IPAddress& address, uint16_t port) const {
        const sockaddr_in peer = MakeSocketAddress(address, port);
        const ssize_t sent = sendto(fd_.Get(), data, length, MSG_NOSIGNAL,
                                    reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
        if (sent < 0) {
            const int error = errno;
            throw MonitorException("Send to %s:%u failed: %s", address.ToString().c_str(), port,
                                   ErrnoText(error).c_str());
        }
        if (static_cast<size_t>(sent) != length)
            throw MonitorException("Sent %zu of %zu bytes to %s:%u", static_cast<size_t>(sent), length,
                                   address.ToString().c_str(), port);
        return length;
    }

    size_t Receive(void* buffer, size_t size, IPAddress* from, uint16_t* fromPort) const {
        sockaddr_in peer = {};
        socklen_t peerLength = sizeof peer;
        // With MSG_TRUNC the result is the datagram's own length.
        const ssize_t received =
            recvfrom(fd_.Get(), buffer, size, MSG_TRUNC, reinterpret_cast<sockaddr*>(&peer), &peerLength);
        if (received < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK)
                return 0;
            throw MonitorException("Receive failed: %s", ErrnoText(errno).c_str());
        }
        if (from)
            *from = IPAddress(peer.sin_addr);
        if (fromPort)
            *fromPort = ntohs(peer.sin_port);
        return static_cast<size_t>(received);
    }

private:
    Descriptor fd_;
};

UDPSocket::UDPSocket(const IPAddress& address, uint16_t port)
    : impl_(std::make_unique<Impl>(address, port)) {}
UDPSocket::~UDPSocket() = default;

size_t UDPSocket::Send(const void* data, size_t length, const IPAddress& address, uint16_t port) {
    return impl_->Send(data, length, address, port);
}
size_t UDPSocket::Receive(void* buffer, size_t size, IPAddress* from, uint16_t* fromPort) {
    return impl_->Receive(buffer, size, from, fromPort);
}
int UDPSocket::Socket() {
    return impl_->Socket();
}

}  // namespace quarn
