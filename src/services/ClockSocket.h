#pragma once

#include <quarn/IPAddress.h>

#include "foundation/Descriptor.h"
#include "services/ClockExchange.h"
#include "services/ClockPacket.h"

namespace quarn {

/// The UDP socket of a clock service.
class ClockSocket {
public:
    /// Opens a socket that does not block. Throws MonitorException "Failed to create socket: %s" or "Failed
    /// to configure socket: %s".
    void Open();
    /// As bind(), errno included; the services report a failure in words of their own.
    bool Bind(const IPAddress& address, uint16_t port);
    /// Throws MonitorException "Failed to get address of socket: %s".
    uint16_t LocalPort() const;
    /// As close(), errno included; true when there is nothing to close.
    bool Close();

    /// -1 while none is open.
    int Get() const { return fd_.Get(); }

    /// As sendto(), errno included; never raises SIGPIPE.
    ssize_t Send(const ClockPacket::Bytes& bytes, const IPAddress& address, uint16_t port) const;
    /// As recvfrom(), errno included. Returns the datagram's own length, of which at most ClockPacket::kSize
    /// bytes are stored.
    ssize_t Receive(ClockPacket::Bytes& bytes, IPAddress& from, uint16_t& fromPort) const;

private:
    Descriptor fd_;
};

/// The link of a client in operation. The socket must outlive it.
class ClockSocketLink final : public ClockLink {
public:
    ClockSocketLink(const ClockSocket& socket, const IPAddress& server, uint16_t serverPort)
        : socket_(socket), server_(server), serverPort_(serverPort) {}

    uint64_t Now() override;
    ssize_t Send(const ClockPacket::Bytes& bytes) override;
    int Wait(uint32_t milliseconds) override;
    ssize_t Receive(ClockPacket::Bytes& bytes, IPAddress& from, uint16_t& fromPort) override;

private:
    const ClockSocket& socket_;
    const IPAddress server_;
    const uint16_t serverPort_;
};

}  // namespace quarn
