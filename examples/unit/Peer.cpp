#include "unit/Peer.h"

#include <quarn/Text.h>
#include <quarn/Worker.h>

namespace unit {

Peer::Peer(std::unique_ptr<quarn::TCPConnection> connection, bool isLink)
    : connection_(std::move(connection)), terminal_(*connection_), isLink_(isLink) {}

void Peer::TellIfSubscribed(const quarn::OutgoingMessage& message) {
    if (tags_.count(message.GetTag()) != 0)
        terminal_.Put(message);
}

int Peer::WantedFlags() {
    if (!connection_->IsConnected())
        return quarn::Worker::WAIT_WRITE;
    return terminal_.WorkPending() ? quarn::Worker::WAIT_READ | quarn::Worker::WAIT_WRITE
                                   : quarn::Worker::WAIT_READ;
}

std::string Peer::Statistics() {
    size_t toDecode = 0;
    size_t toSend = 0;
    terminal_.GetBacklogs(&toDecode, &toSend);
    return quarn::Format(
        "Peer \"%s\": %s, %zu variables subscribed, %lu messages received, %lu sent, backlogs %zu and %zu "
        "bytes",
        Name().c_str(), IsConnected() ? "connected" : "connecting", tags_.size(),
        terminal_.GetReceivedMessageCount(), terminal_.GetTransmittedMessageCount(), toDecode, toSend);
}

}  // namespace unit
