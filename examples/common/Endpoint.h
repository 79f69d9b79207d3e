#pragma once

#include <quarn/IPAddress.h>

#include <stdint.h>

#include <string>

namespace unit {

/// Where a unit listens or is reached.
struct Endpoint {
    quarn::IPAddress address;
    uint16_t port = 0;

    std::string ToString() const;
};

/// "ADDRESS:PORT" of a unit to reach; the address may be a name, which is looked up (and blocks for that
/// long). Throws MonitorException with the reason.
Endpoint ParsePeer(const std::string& text);

/// "ADDRESS:PORT" or "PORT" to listen on: no address means loopback, "*" every interface. Throws
/// MonitorException with the reason.
Endpoint ParseListener(const std::string& text);

/// Throws MonitorException with the reason when nobody can listen there, or somebody does. A TCPListener would share
/// the port with them, and each would get some of the peers: a unit that was started twice is wanted by nobody.
void CheckUnused(const Endpoint& listener);

}  // namespace unit
