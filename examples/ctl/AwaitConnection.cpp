#include "ctl/AwaitConnection.h"

#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>

#include <poll.h>
#include <string.h>
#include <sys/socket.h>

namespace unit {

using quarn::MonitorException;

namespace {

std::string PendingError(int fd) {
    int error = 0;
    socklen_t length = sizeof error;
    getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length);
    return strerror(error);
}

}  // namespace

void AwaitConnection(quarn::TCPConnection& connection, const std::string& what, uint32_t timeoutMs,
                     const std::function<void()>& work) {
    const uint64_t start = quarn::Tick();
    while (connection.IsAlive() && !connection.IsConnected() && quarn::MillisecondsSince(start) < timeoutMs) {
        pollfd fd{connection.Socket(), POLLIN | POLLOUT, 0};
        if (poll(&fd, 1, 50) <= 0)
            continue;
        // Asked here, since the connection would print the reason and forget it.
        if ((fd.revents & POLLERR) != 0)
            throw MonitorException("Cannot connect to a %s: %s", what.c_str(), PendingError(fd.fd).c_str());
        work();
    }
    if (!connection.IsConnected())
        throw MonitorException(
            "Cannot connect to a %s: %s", what.c_str(),
            connection.IsAlive() ? "nothing answers there" : "the network does not lead there");
}

}  // namespace unit
