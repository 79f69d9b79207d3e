#pragma once

#include <quarn/IPAddress.h>

#include <netinet/in.h>
#include <stdint.h>

namespace quarn {

inline sockaddr_in MakeSocketAddress(const IPAddress& address, uint16_t port) {
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr = address.ToInAddr();
    return result;
}

/// The address that the descriptor is bound to. Throws MonitorException "getsockname failed: %s".
sockaddr_in GetLocalAddress(int fd);

}  // namespace quarn
