#pragma once

/// Keeps a microsecond clock in step with that of a SyncedClockServer, on a thread of its own that asks for
/// the time about five times a second.
///
///     srand(seed);  // once a process: rand() keeps clients from asking in step
///     quarn::MicrosecondClockSoftware clock;
///     const quarn::IPAddress server("10.0.0.1");
///     quarn::SyncedClockClient client(nullptr, quarn::IPAddress(), server, 5010, clock);
///     if (client.GetLocalPort() == 0)
///         return EXIT_FAILURE;  // no socket: that has been printed with mask ERR
///
/// An exchange that fails (no answer within 10 ms, a datagram from elsewhere, an answer that is not
/// well-formed or too late) is printed with mask ERR and leaves the clock as it was; the next one follows all
/// the same. docs/clocks.md describes the packet and tells how well clocks are kept.
///
/// At debug level 1 the socket and late answers are printed, at level 2 each exchange.

#include <quarn/Attributes.h>
#include <quarn/Debuggable.h>
#include <quarn/IPAddress.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <string>

namespace quarn {

class SettableMicrosecondClock;

class QUARN_API SyncedClockClient : public Debuggable {
public:
    /// Sends from the local address (0.0.0.0 for what the system finds fit) and a port that the system
    /// chooses. Returns when the socket is bound or cannot be, which is printed as the failure of worker
    /// "scc"; the first exchange follows at once. A null parent gives the service a debug level of its own.
    /// Throws MonitorException as Worker::Start() does. Parent and clock must outlive the object.
    SyncedClockClient(Debuggable* parent, IPAddress local, IPAddress peer, uint16_t peerPort,
                      SettableMicrosecondClock& clock);
    /// Ends the service. When its thread does not stop within a second, that is printed with mask ERR, and
    /// the thread goes on to use the clock.
    ~SyncedClockClient() override;

    // Any thread may call the functions below.

    IPAddress GetLocalIPAddress() const;
    /// The port that the system chose; 0 when the socket could not be had.
    uint16_t GetLocalPort() const;
    IPAddress GetPeerIPAddress() const;
    uint16_t GetPeerPort() const;
    /// Appends Worker::GetStatistics() with the clock's time and the peer. Attempted and successful updates
    /// are listed too and always 0. Throws as GetStatistics() and the clock do.
    void ReportStatistics(std::list<std::string>& lines);

private:
    class Impl;
    explicit SyncedClockClient(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
