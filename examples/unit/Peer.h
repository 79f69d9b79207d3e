#pragma once

#include <quarn/MessageTerminal.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/TCPConnection.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <set>
#include <string>

namespace unit {

/// One connection of the unit, accepted or made, and what its other end wants to be told.
class Peer {
public:
    /// `isLink`: the connection was made by this unit to another one that it mirrors.
    Peer(std::unique_ptr<quarn::TCPConnection> connection, bool isLink);

    int Socket() { return connection_->Socket(); }
    std::string Name() const { return connection_->GetName(); }
    bool IsLink() const { return isLink_; }
    bool IsConnected() const { return connection_->IsConnected(); }
    quarn::MessageTerminal& Terminal() { return terminal_; }

    void Subscribe(const std::list<uint32_t>& tags) { tags_.insert(tags.begin(), tags.end()); }
    void TellIfSubscribed(const quarn::OutgoingMessage& message);

    /// The readiness flags that the peer's socket has to be watched for.
    int WantedFlags();
    /// The flags that it is watched for at present; 0 when it is not.
    int watchedFlags = 0;
    /// Whether the first exchange after the connection was made has been started.
    bool greeted = false;

    std::string Statistics();

private:
    std::unique_ptr<quarn::TCPConnection> connection_;
    quarn::MessageTerminal terminal_;
    bool isLink_;
    std::set<uint32_t> tags_;
};

}  // namespace unit
