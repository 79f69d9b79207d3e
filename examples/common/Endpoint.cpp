#include "common/Endpoint.h"

#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/Text.h>

#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

namespace unit {

namespace {

quarn::IPAddress LookUp(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(host.c_str(), nullptr, &hints, &found);
    if (error != 0)
        throw quarn::MonitorException("Cannot find the address of \"%s\": %s", host.c_str(),
                                      gai_strerror(error));
    sockaddr_in address = *reinterpret_cast<const sockaddr_in*>(found->ai_addr);
    freeaddrinfo(found);
    return quarn::IPAddress(address.sin_addr);
}

uint16_t ParsePort(const std::string& endpoint, const std::string& port) {
    try {
        return quarn::ParseU16(port, 0);
    } catch (const quarn::MonitorException&) {
        throw quarn::MonitorException("The port of \"%s\" is not a number up to 65535", endpoint.c_str());
    }
}

}  // namespace

std::string Endpoint::ToString() const {
    return address.ToString() + quarn::Format(":%u", port);
}

Endpoint ParsePeer(const std::string& text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0)
        throw quarn::MonitorException("\"%s\" is not of the form HOST:PORT", text.c_str());
    const uint16_t port = ParsePort(text, text.substr(colon + 1));
    if (port == 0)
        throw quarn::MonitorException("\"%s\" has no port to connect to", text.c_str());
    return {LookUp(text.substr(0, colon)), port};
}

Endpoint ParseListener(const std::string& text) {
    const size_t colon = text.rfind(':');
    const std::string address = colon == std::string::npos ? "" : text.substr(0, colon);
    const std::string port = colon == std::string::npos ? text : text.substr(colon + 1);
    return {quarn::ParseIPListenerAddress(address), ParsePort(text, port)};
}

void CheckUnused(const Endpoint& listener) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    // Connections that are closing are no hindrance.
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(listener.port);
    address.sin_addr = listener.address.ToInAddr();
    const bool isBound = bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const int error = errno;
    close(fd);
    if (!isBound)
        throw quarn::MonitorException("Cannot listen on %s: %s", listener.ToString().c_str(),
                                      strerror(error));
}

}  // namespace unit
