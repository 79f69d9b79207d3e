#include "services/ClockSocket.h"

#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>

#include "connections/DatagramSocket.h"
#include "connections/SocketAddress.h"
#include "foundation/ErrnoText.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quarn {

void ClockSocket::Open() {
    fd_ = OpenDatagramSocket();
}

bool ClockSocket::Bind(const IPAddress& address, uint16_t port) {
    const sockaddr_in local = MakeSocketAddress(address, port);
    return bind(fd_.Get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0;
}

uint16_t ClockSocket::LocalPort() const {
    sockaddr_in local = {};
    socklen_t length = sizeof local;
    if (getsockname(fd_.Get(), reinterpret_cast<sockaddr*>(&local), &length) != 0)
        throw MonitorException("Failed to get address of socket: %s", ErrnoText(errno).c_str());
    return ntohs(local.sin_port);
}

bool ClockSocket::Close() {
    const int fd = fd_.Release();
    return fd < 0 || close(fd) == 0;
}

ssize_t ClockSocket::Send(const ClockPacket::Bytes& bytes, const IPAddress& address, uint16_t port) const {
    const sockaddr_in to = MakeSocketAddress(address, port);
    return sendto(fd_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&to),
                  sizeof to);
}

ssize_t ClockSocket::Receive(ClockPacket::Bytes& bytes, IPAddress& from, uint16_t& fromPort) const {
    sockaddr_in sender = {};
    socklen_t senderLength = sizeof sender;
    // With MSG_TRUNC the result is the datagram's own length, so that a long one is not taken for a right
    // one.
    const ssize_t length = recvfrom(fd_.Get(), bytes.data(), bytes.size(), MSG_TRUNC,
                                    reinterpret_cast<sockaddr*>(&sender), &senderLength);
    if (length >= 0) {
        from = IPAddress(sender.sin_addr);
        fromPort = ntohs(sender.sin_port);
    }
    return length;
}

uint64_t ClockSocketLink::Now() {
    return Tick();
}

ssize_t ClockSocketLink::Send(const ClockPacket::Bytes& bytes) {
    return socket_.Send(bytes, server_, serverPort_);
}

int ClockSocketLink::Wait(uint32_t milliseconds) {
    pollfd waiting = {socket_.Get(), POLLIN, 0};
    return poll(&waiting, 1, static_cast<int>(milliseconds));
}

ssize_t ClockSocketLink::Receive(ClockPacket::Bytes& bytes, IPAddress& from, uint16_t& fromPort) {
    return socket_.Receive(bytes, from, fromPort);
}

}  // namespace quarn
