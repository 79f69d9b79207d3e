#include <quarn/IPAddress.h>
#include <quarn/MonitorException.h>

#include "foundation/ErrnoText.h"

#include <arpa/inet.h>
#include <errno.h>
#include <string.h>

#include <bit>

namespace quarn {

IPAddress::IPAddress(const std::string& text) {
    in_addr address;
    if (text.size() != strlen(text.c_str()) || inet_pton(AF_INET, text.c_str(), &address) != 1)
        throw MonitorException("%s is not a valid IP address", text.c_str());
    address_ = address.s_addr;
}

uint32_t IPAddress::UpperBitsSet() const {
    return static_cast<uint32_t>(std::countl_one(ntohl(address_)));
}

std::string IPAddress::ToString() const {
    const in_addr address = ToInAddr();
    char text[INET_ADDRSTRLEN];
    if (!inet_ntop(AF_INET, &address, text, sizeof text))
        throw MonitorException("inet_ntop failed: %s", ErrnoText(errno).c_str());
    return text;
}

}  // namespace quarn
