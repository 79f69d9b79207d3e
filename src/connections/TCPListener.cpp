#include <quarn/Debug.h>
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

constexpr int kListenBacklog = 4096;
// In one go; those behind them keep the socket ready.
constexpr int kMostTurnedAway = 64;

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
        if (listen(fd, kListenBacklog) < 0)
            ThrowSocketFailure(fd, "Failed to listen", errno);
    }

    TCPSocket& Socket() { return socket_; }

    void SetAllowedPeers(const AllowedPeers& allowed) { allowed_ = allowed; }

    TCPConnection* Accept(const std::string& nameTemplate) {
        Descriptor fd = AcceptAllowed();
        if (fd.Get() < 0)
            return nullptr;
        std::string name = nameTemplate;
        StringReplace(name, "$peer$", SocketUtilities::DescribePeer(fd.Get()));
        ++clientCount_;
        return new TCPConnection(name, clientCount_, fd.Release());
    }

private:
    // None when nobody who is allowed is waiting.
    Descriptor AcceptAllowed() {
        for (int turnedAway = 0; turnedAway < kMostTurnedAway; ++turnedAway) {
            sockaddr_in peer = {};
            socklen_t length = sizeof peer;
            Descriptor fd(accept4(socket_.Socket(), reinterpret_cast<sockaddr*>(&peer), &length,
                                  SOCK_CLOEXEC | SOCK_NONBLOCK));
            if (fd.Get() < 0) {
                if (errno == EAGAIN || errno == EWOULDBLOCK)
                    return fd;
                ThrowSocketFailure(socket_.Socket(), "Error accepting connection", errno);
            }
            if (allowed_.Allows(IPAddress(peer.sin_addr)))
                return fd;
            if (DefaultDebug())
                DefaultDebug()->Printf(DEBUG_WARN, __FILE__, __LINE__,
                                       "TCPListener: Turned away %s, which is not an allowed peer",
                                       SocketUtilities::DescribePeer(fd.Get()).c_str());
        }
        return Descriptor();
    }

    TCPSocket socket_;
    AllowedPeers allowed_;
    uint32_t clientCount_ = 0;
};

TCPListener::TCPListener(const IPAddress& address, uint16_t port)
    : impl_(std::make_unique<Impl>(address, port)) {}
TCPListener::~TCPListener() = default;

TCPConnection* TCPListener::Accept(const std::string& nameTemplate) {
    return impl_->Accept(nameTemplate);
}
void TCPListener::SetAllowedPeers(const AllowedPeers& allowed) {
    impl_->SetAllowedPeers(allowed);
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
