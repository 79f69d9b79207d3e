#pragma once

/// A listening TCP socket that hands out accepted connections without ever blocking.
///
///     try {
///         quarn::TCPListener listener(quarn::IPAddress("127.0.0.1"), 0);
///         printf("listening on port %u\n", listener.GetPort());
///         ...  // whenever listener.Socket() is readable:
///         while (quarn::TCPConnection* connection = listener.Accept("control ($peer$)"))
///             peers.emplace_back(connection);
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///
/// Not locked: it belongs to one worker.

#include <quarn/AllowedPeers.h>
#include <quarn/Attributes.h>
#include <quarn/IPAddress.h>

#include <stdint.h>
#include <sys/select.h>

#include <memory>
#include <string>

namespace quarn {

class TCPConnection;

class QUARN_API TCPListener {
public:
    /// Listens at once, with address and port re-use on and a backlog of 4096. Address 0.0.0.0 stands for
    /// every interface; port 0 lets the system choose (see GetPort()). Throws what TCPSocket() throws, and
    /// MonitorException "%s: Could not enable address re-use: %s", "%s: Could not enable port re-use: %s",
    /// "%s: Failed to bind to %s: %s" or "%s: Failed to listen: %s".
    TCPListener(const IPAddress& address, uint16_t port);
    virtual ~TCPListener();
    TCPListener(const TCPListener&) = delete;
    TCPListener& operator=(const TCPListener&) = delete;

    /// Accepts one pending connection; the caller owns it. Its name is the template with every "$peer$"
    /// replaced by the peer's "ADDRESS:PORT"; its client ID counts from 1. Returns null when none is pending.
    /// Any other failure throws MonitorException "%s: Error accepting connection: %s"; the listener can go
    /// on.
    TCPConnection* Accept(const std::string& nameTemplate);

    /// From now on Accept() closes the connections of all others at once, each of which is printed with mask
    /// WARN: "TCPListener: Turned away %s, which is not an allowed peer".
    void SetAllowedPeers(const AllowedPeers& allowed);

    /// The descriptor to wait on; it stays the listener's.
    int Socket();
    /// The port bound to. Throws MonitorException "getsockname failed: %s".
    uint16_t GetPort() const;
    /// As TCPSocket::SetReadableFileDescriptorBit().
    bool SetReadableFileDescriptorBit(fd_set* set, int* maxFd);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
