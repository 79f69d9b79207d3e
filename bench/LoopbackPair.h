#pragma once

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

namespace quarn::bench {

inline void Require(bool ok) {
    if (!ok)
        abort();
}

/// Two connected TCP sockets without Nagle's algorithm.
inline std::pair<int, int> LoopbackPair() {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    sockaddr* const any = reinterpret_cast<sockaddr*>(&address);
    Require(bind(listener, any, length) == 0 && listen(listener, 1) == 0);
    Require(getsockname(listener, any, &length) == 0);
    const int a = socket(AF_INET, SOCK_STREAM, 0);
    Require(connect(a, any, length) == 0);
    const int b = accept(listener, nullptr, nullptr);
    close(listener);
    const int on = 1;
    for (const int fd : {a, b})
        Require(setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0);
    return {a, b};
}

}  // namespace quarn::bench
