#pragma once

/// Proves to a watchdog service that this process is alive, for as long as the process's own loop calls it.
///
///     quarn::WatchdogProxy watchdog(quarn::IPAddress("127.0.0.1"), 5020, "receiver");
///     while (running) {
///         watchdog.Work();  // never blocks, and is cheap enough for every turn of a loop
///         if (!watchdog.IsAlive())
///             MakeNewProxy();  // given up or closed by the service, for good; the reason was printed
///         DoWork();            // if this gets stuck, the updates stop, and the service notices
///     }
///
/// The protocol is described in docs/watchdog.md.

#include <quarn/Attributes.h>
#include <quarn/IPAddress.h>

#include <stdint.h>

#include <memory>
#include <string>

namespace quarn {

class QUARN_API WatchdogProxy {
public:
    /// Starts to connect to the service. `name` is the process's name in the updates; a name with line ends
    /// in it would break them. Throws MonitorException as TCPConnection() does.
    WatchdogProxy(const IPAddress& address, uint16_t port, const std::string& name);
    ~WatchdogProxy();
    WatchdogProxy(const WatchdogProxy&) = delete;
    WatchdogProxy& operator=(const WatchdogProxy&) = delete;

    /// One pass, unless there was one less than 50 ms ago: brings the connection forward, drops what the
    /// service sent, and sends "update NAME PID" if that was not done in the last 250 ms. Returns whether an
    /// update was sent. Never waits for the network; of several threads that call at once each waits for the
    /// passes of the others. A connection that was not made within 1000 ms or was closed by the service stays
    /// so: then every call returns false. Throws as TCPConnection::Work() does.
    bool Work();

    /// False once the connection has ended, which it does for good: a new proxy can try again.
    bool IsAlive() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
