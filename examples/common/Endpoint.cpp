#include "common/Endpoint.h"

#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/Text.h>

#include <netdb.h>
#include <netinet/in.h>

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

}  // namespace

std::string Endpoint::ToString() const {
    return address.ToString() + quarn::Format(":%u", port);
}

Endpoint ParsePeer(const std::string& text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0)
        throw quarn::MonitorException("\"%s\" is not of the form HOST:PORT", text.c_str());
    const uint16_t port = quarn::ParseU16(text.substr(colon + 1), 0);
    if (port == 0)
        throw quarn::MonitorException("\"%s\" has no port to connect to", text.c_str());
    return {LookUp(text.substr(0, colon)), port};
}

Endpoint ParseListener(const std::string& text) {
    const size_t colon = text.rfind(':');
    const std::string address = colon == std::string::npos ? "" : text.substr(0, colon);
    const std::string port = colon == std::string::npos ? text : text.substr(colon + 1);
    return {quarn::ParseIPListenerAddress(address), quarn::ParseU16(port, 0)};
}

}  // namespace unit
