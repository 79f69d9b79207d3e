#pragma once

/// The peers that a server serves, by address; everybody unless told otherwise.
///
///     quarn::AllowedPeers allowed;
///     try {
///         allowed.Add("10.1.2.3");
///         allowed.Add("192.168.7.0/24");
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///     listener.SetAllowedPeers(allowed);  // and every server takes one
///
/// An address is not a proof: on a network that others can send into it can be feigned for datagrams, and be
/// taken over for connections.

#include <quarn/Attributes.h>
#include <quarn/IPAddress.h>

#include <stdint.h>

#include <string>
#include <vector>

namespace quarn {

class QUARN_API AllowedPeers {
public:
    /// Adds an address, "10.1.2.3", or a network, "10.1.2.0/24", whose bits behind the prefix must be zero;
    /// from then on nobody else is allowed. Throws MonitorException "\"%s\" is not an address or a network".
    void Add(const std::string& text);

    /// Whether the peer is served: everybody is while nothing was added.
    bool Allows(const IPAddress& peer) const;

private:
    struct Network {
        uint32_t address;  // these two as a host counts
        uint32_t mask;
    };

    std::vector<Network> networks_;
};

}  // namespace quarn
