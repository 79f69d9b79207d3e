#include <quarn/MonitorException.h>
#include <quarn/SocketUtilities.h>
#include <quarn/Text.h>

#include "connections/SocketAddress.h"
#include "connections/SocketFailure.h"
#include "foundation/ErrnoText.h"

#include <errno.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>

namespace quarn {

namespace {

std::string FormatEndpoint(const sockaddr_in& address) {
    return Format("%s:%u", IPAddress(address.sin_addr).ToString().c_str(), ntohs(address.sin_port));
}

bool ReadPeer(int fd, sockaddr_in& address) {
    socklen_t length = sizeof address;
    return getpeername(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0;
}

}  // namespace

void ThrowSocketFailure(int fd, const char* what, int error) {
    throw MonitorException("%s: %s: %s", SocketUtilities::Describe(fd).c_str(), what,
                           ErrnoText(error).c_str());
}

sockaddr_in GetLocalAddress(int fd) {
    sockaddr_in address = {};
    socklen_t length = sizeof address;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) < 0)
        throw MonitorException("getsockname failed: %s", ErrnoText(errno).c_str());
    return address;
}

namespace SocketUtilities {

void SetBlocking(int fd, bool blocking) {
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0)
        ThrowSocketFailure(fd, "fcntl could not get file flags", errno);
    if (fcntl(fd, F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK) < 0)
        ThrowSocketFailure(fd, "fcntl could not set file flags", errno);
}

void SetNagle(int fd, bool enable) {
    const int noDelay = enable ? 0 : 1;
    if (setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay) < 0)
        ThrowSocketFailure(fd, "setsockopt for Nagle flag failed", errno);
}

void SetSilenceLimit(int fd, uint32_t seconds) {
    const int on = 1;
    const int third = static_cast<int>(std::max(seconds / 3, 1U));
    const int probes = 2;  // after the first silent third; the limit itself ends it
    const unsigned milliseconds = seconds * 1000;
    if (setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on) < 0 ||
        setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &third, sizeof third) < 0 ||
        setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &third, sizeof third) < 0 ||
        setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes) < 0 ||
        setsockopt(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &milliseconds, sizeof milliseconds) < 0)
        ThrowSocketFailure(fd, "setsockopt for silence limit failed", errno);
}

bool SocketWritable(int fd) {
    if (fd < 0)
        return false;
    pollfd entry = {fd, POLLOUT, 0};
    const int ready = poll(&entry, 1, 0);
    if (ready < 0 && errno == EINTR)
        return false;
    if (ready < 0)
        ThrowSocketFailure(fd, "poll failed", errno);
    if (entry.revents & POLLNVAL)
        ThrowSocketFailure(fd, "poll failed", EBADF);
    return ready > 0;
}

IPAddress GetPeerAddress(int fd) {
    sockaddr_in address = {};
    if (!ReadPeer(fd, address))
        throw MonitorException("getpeername failed: %s", ErrnoText(errno).c_str());
    return IPAddress(address.sin_addr);
}

std::string DescribePeer(int fd) {
    if (fd < 0)
        return "nonexistent";
    sockaddr_in address = {};
    return ReadPeer(fd, address) ? FormatEndpoint(address) : "disconnected";
}

std::string Describe(int fd) {
    if (fd < 0)
        return "[no socket]";
    return Format("[%d] %s", fd, FormatEndpoint(GetLocalAddress(fd)).c_str());
}

void SetDescriptorBit(int fd, fd_set* set, int* maxFd) {
    if (fd < 0)
        return;
    if (fd >= FD_SETSIZE)
        throw MonitorException("File descriptor %d does not fit an fd_set (limit %d)", fd, FD_SETSIZE);
    FD_SET(fd, set);
    if (maxFd && *maxFd < fd + 1)
        *maxFd = fd + 1;
}

}  // namespace SocketUtilities

}  // namespace quarn
