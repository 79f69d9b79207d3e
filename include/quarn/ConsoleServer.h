#pragma once

/// Serves the text console of a daemon's accessors over TCP, from one worker named "console".
///
///     quarn::Accessors accessors;
///     ...  // Add(), Configure()
///     try {
///         quarn::ConsoleServer console(nullptr, "", 5100, accessors);  // for this machine only
///         ...                                                          // until the daemon ends
///     } catch (const quarn::MonitorException& e) {                     // no address of this machine
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///
/// A client sends lines and gets, for each in turn, the lines of the response, the last of which is the
/// character 0x04: see docs/console.md.
///
/// Threads: lines are executed on the server's thread, one at a time, so that from the constructor to the end
/// of the destructor nobody else may use the registry. The server's own lock is not held meanwhile, which is
/// why a line may list all workers, this one included. Other clients wait for as long as a line takes.

#include <quarn/AllowedPeers.h>
#include <quarn/Attributes.h>
#include <quarn/Debuggable.h>
#include <quarn/IPAddress.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <string>

namespace quarn {

class Accessors;

class QUARN_API ConsoleServer : public Debuggable {
public:
    /// Listens and starts. `address` is one for ParseIPListenerAddress(): empty for this machine only, "*"
    /// for every interface. Port 0 lets the system choose. Others than those allowed are turned away, and so
    /// are clients beyond 16; both are printed. At debug level 1 the coming and going of clients is printed, at
    /// level 2 every line. Throws what ParseIPListenerAddress(), TCPListener and Worker::Start() throw. The
    /// parent, the registry and its accessors must outlive the server.
    ConsoleServer(Debuggable* parent, const std::string& address, uint16_t port, Accessors& accessors,
                  const AllowedPeers& allowed = {});
    /// Waits at most 1000 ms for the line being executed. One that takes longer is printed with mask ERR and
    /// leaves the worker behind, which then goes on using the registry.
    ~ConsoleServer() override;

    IPAddress GetIPAddress() const;
    /// The port being listened on.
    uint16_t GetPort() const;
    /// Appends the worker's statistics and the numbers of clients, of those turned away and of lines.
    void ReportStatistics(std::list<std::string>& lines);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;

    explicit ConsoleServer(std::unique_ptr<Impl> impl);
};

}  // namespace quarn
