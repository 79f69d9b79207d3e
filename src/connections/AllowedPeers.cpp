#include <quarn/AllowedPeers.h>
#include <quarn/MonitorException.h>
#include <quarn/Parse.h>

#include <arpa/inet.h>

#include <algorithm>

namespace quarn {

namespace {

constexpr uint32_t kAddressBits = 32;

uint32_t HostOrder(const IPAddress& address) {
    return ntohl(address.ToInAddr().s_addr);
}

/// The mask of a prefix length, which is the whole address where none is given.
uint32_t ParseMask(const std::string& text, size_t slash) {
    const uint32_t bits =
        slash == std::string::npos ? kAddressBits : ParseU32(text.substr(slash + 1), kAddressBits);
    return bits == 0 ? 0 : ~uint32_t{0} << (kAddressBits - bits);
}

}  // namespace

void AllowedPeers::Add(const std::string& text) {
    const size_t slash = text.find('/');
    Network network{};
    try {
        network.address = HostOrder(IPAddress(text.substr(0, slash)));
        network.mask = ParseMask(text, slash);
    } catch (const MonitorException&) {
        throw MonitorException("\"%s\" is not an address or a network", text.c_str());
    }
    if (network.address & ~network.mask)
        throw MonitorException("\"%s\" is not an address or a network", text.c_str());
    networks_.push_back(network);
}

bool AllowedPeers::Allows(const IPAddress& peer) const {
    const uint32_t address = HostOrder(peer);
    return networks_.empty() || std::any_of(networks_.begin(), networks_.end(), [&](const Network& network) {
               return (address & network.mask) == network.address;
           });
}

}  // namespace quarn
