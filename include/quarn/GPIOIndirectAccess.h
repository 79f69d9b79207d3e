#pragma once

/// The GPIO signals that another process holds and serves with a GPIOServer, by name: for programs, and on the
/// console.
///
///     quarn::GPIOIndirectAccess gpio(quarn::IPAddress("10.0.0.2"), 7500, "gpio");
///     accessors.Add(gpio);
///     try {
///         gpio.Set("mute", 1);
///         printf("%u\n", gpio.Get("slot"));
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());  // Indirect GPIO request failed: ...
///     }
///
/// Constructing it connects to nothing: a request does when there is no connection, at most 500 ms long, and
/// then waits for the reply, at most 500 ms again. Any failure, the server's refusal of a value included,
/// closes the connection, and the next request makes a new one. See docs/gpio-server.md.
///
/// Requests run on the calling thread. There is no lock: one thread at a time, the console's included; several
/// threads put a LockedGPIOAccess in front of it.

#include <quarn/Attributes.h>
#include <quarn/Debuggable.h>
#include <quarn/GPIOAccess.h>
#include <quarn/IPAddress.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace quarn {

class QUARN_API GPIOIndirectAccess final : public GPIOAccess, public Debuggable {
public:
    /// `command` is the console command under which the server's is used; "gpio-ind" is taken. Action IDs
    /// start with what rand() returns, so the process seeds that.
    GPIOIndirectAccess(const IPAddress& address, uint16_t port, const std::string& command);
    /// Closes the connection.
    ~GPIOIndirectAccess() override;

    /// These two throw "Indirect GPIO request failed: %s" with the text of the server's exception or with
    /// "Could not connect to GPIO server", "Timed out waiting to connect to GPIO server", "Connection to GPIO
    /// server broken", "No response from GPIO server", "select failed: %s", "Request of %zu bytes is too long"
    /// (above 262144) or why a reply could not be decoded.
    uint32_t Get(const std::string& name) override;
    void Set(const std::string& name, uint32_t value) override;

    /// The one given to the constructor and "gpio-ind".
    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override;
    /// "gpio-ind" without words tells what it takes, and throws what SubcommandParserHelper does. Every other
    /// command word goes to the server with the words behind it, which are quoted where they have to be;
    /// returns what the server responds and throws what Get() does.
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override;

    /// Requests, replies and how long they took, failures and some of their reasons, connections that were
    /// made, messages that were passed over.
    void GetStatistics(std::list<std::string>& lines) override;
    void ClearStatistics() override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
