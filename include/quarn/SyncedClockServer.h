#pragma once

/// Tells the time of a microsecond clock to whoever asks over UDP, on a thread of its own.
///
///     quarn::MicrosecondClockSoftware clock;
///     quarn::SyncedClockServer server(nullptr, quarn::IPAddress(), 5010, clock);
///     if (server.GetPort() == 0)
///         return EXIT_FAILURE;  // the port is taken, for example: that has been printed with mask ERR
///
/// Bad requests are printed with mask ERR and survived. The packet is described in docs/clocks.md; it carries
/// no proof of who sent it.
///
/// At debug level 2 each answer is printed.

#include <quarn/AllowedPeers.h>
#include <quarn/Attributes.h>
#include <quarn/Debuggable.h>
#include <quarn/IPAddress.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <string>

namespace quarn {

class MicrosecondClock;

class QUARN_API SyncedClockServer : public Debuggable {
public:
    /// Serves at the address (0.0.0.0 for every interface) and port (0 for one that the system chooses).
    /// Others than those allowed get no answer, which is printed. A null parent gives the service a debug level
    /// of its own. Returns when the socket is bound or cannot be, which is printed as the failure of worker
    /// "scs". Throws MonitorException as Worker::Start() does. Parent and clock must outlive the object.
    SyncedClockServer(Debuggable* parent, const IPAddress& local, uint16_t port,
                      const MicrosecondClock& clock, const AllowedPeers& allowed = {});
    /// Ends the service. When its thread does not stop within a second, that is printed with mask ERR, and
    /// the thread goes on to use the clock.
    ~SyncedClockServer() override;

    // Any thread may call the functions below.

    IPAddress GetIPAddress() const;
    /// The port that is served: the one asked for, or the one that the system chose in place of 0; 0 when the
    /// socket could not be had.
    uint16_t GetPort() const;
    /// Appends Worker::GetStatistics() with the clock's time and the number of answers given. Throws as that
    /// and the clock do.
    void ReportStatistics(std::list<std::string>& lines);

private:
    class Impl;
    explicit SyncedClockServer(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
