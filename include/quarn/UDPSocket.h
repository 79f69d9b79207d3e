#pragma once

/// A bound, non-blocking IPv4 datagram socket.
///
///     try {
///         quarn::UDPSocket socket(quarn::IPAddress("0.0.0.0"), 5001);
///         uint8_t packet[8];
///         quarn::IPAddress from;
///         uint16_t fromPort = 0;
///         if (socket.Receive(packet, sizeof packet, &from, &fromPort) == sizeof packet)
///             socket.Send(packet, sizeof packet, from, fromPort);
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///
/// Not locked: it belongs to one worker.

#include <quarn/Attributes.h>
#include <quarn/IPAddress.h>

#include <stddef.h>
#include <stdint.h>

#include <memory>

namespace quarn {

class QUARN_API UDPSocket {
public:
    /// Address 0.0.0.0 stands for every interface; port 0 lets the system choose. Throws MonitorException
    /// "Failed to create socket: %s", "Failed to configure socket: %s" or
    /// "Failed to bind socket to %s:%u: %s".
    UDPSocket(const IPAddress& address, uint16_t port);
    /// Closes the socket and prints that, or why it could not, with mask ERR.
    ~UDPSocket();
    UDPSocket(const UDPSocket&) = delete;
    UDPSocket& operator=(const UDPSocket&) = delete;

    /// Sends one datagram. Returns `length`. Throws MonitorException "Send to %s:%u failed: %s", also when
    /// the send would block, or "Sent %zu of %zu bytes to %s:%u".
    size_t Send(const void* data, size_t length, const IPAddress& address, uint16_t port);

    /// Receives one datagram. Returns its whole length even when it was longer than `size`, of which only the
    /// first `size` bytes are stored; 0 when nothing is waiting (and for an empty datagram). `from` and
    /// `fromPort` are filled when given and a datagram arrived. Throws MonitorException "Receive failed: %s".
    size_t Receive(void* buffer, size_t size, IPAddress* from, uint16_t* fromPort);

    /// The descriptor to wait on; it stays the socket's.
    int Socket();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
