#pragma once

/// Serves the GPIO signals that this process holds to other ones over TCP, from one worker named
/// "gpio-server": the peer of GPIOIndirectAccess.
///
///     quarn::GPIODirectAccess lines("gpio", "gpio");
///     quarn::LockedGPIOAccess gpio(lines);  // for the console and the server
///     ...                                   // Add(), Configure()
///     try {
///         quarn::GPIOServer server(nullptr, "", 7500, gpio);  // for this machine only
///         ...                                                 // until the daemon ends
///     } catch (const quarn::MonitorException& e) {            // no address of this machine
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///
/// The exchange is in docs/gpio-server.md. Whoever can connect can read and set every signal.
///
/// Threads: the requests of all clients are executed on the server's thread, one at a time, without its lock.
/// From the constructor to the end of the destructor other threads may use the GPIOAccess only if it is one
/// for several threads, such as LockedGPIOAccess.

#include <quarn/AllowedPeers.h>
#include <quarn/Attributes.h>
#include <quarn/Debuggable.h>
#include <quarn/IPAddress.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <string>

namespace quarn {

class GPIOAccess;

class QUARN_API GPIOServer : public Debuggable {
public:
    /// Listens and starts. `address` is one for ParseIPListenerAddress(): empty for this machine only, "*"
    /// for every interface. Port 0 lets the system choose. Others than those allowed are turned away, and so
    /// are clients beyond 16; both are printed. At debug level 1 the coming and going of clients is printed, at
    /// level 2 every request. Throws what ParseIPListenerAddress(), TCPListener and Worker::Start() throw. The
    /// parent and the GPIOAccess must outlive the server.
    GPIOServer(Debuggable* parent, const std::string& address, uint16_t port, GPIOAccess& gpio,
               const AllowedPeers& allowed = {});
    /// Waits at most 1000 ms for the request being executed. One that takes longer is printed with mask ERR
    /// and leaves the worker behind, which then goes on using the GPIOAccess.
    ~GPIOServer() override;

    IPAddress GetIPAddress() const;
    /// The port being listened on.
    uint16_t GetPort() const;
    /// Appends the worker's statistics and the numbers of clients, of those turned away and of requests.
    void ReportStatistics(std::list<std::string>& lines);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;

    explicit GPIOServer(std::unique_ptr<Impl> impl);
};

}  // namespace quarn
