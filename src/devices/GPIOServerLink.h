#pragma once

#include <quarn/Debuggable.h>
#include <quarn/GPIOServerGrammar.h>
#include <quarn/IPAddress.h>
#include <quarn/MessageTerminal.h>
#include <quarn/Sentence.h>
#include <quarn/TCPConnection.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

namespace quarn {

class IncomingMessage;
class OutgoingMessage;

/// What became of the requests to a GPIO server.
struct GPIORequestStatistics {
    void AddReplyTime(uint64_t microseconds);
    std::list<std::string> List() const;

    uint64_t requests = 0;
    uint64_t replies = 0;
    uint64_t failures = 0;  // all that failed, these among them:
    uint64_t notConnected = 0;
    uint64_t connectsTimedOut = 0;
    uint64_t broken = 0;
    uint64_t unanswered = 0;
    uint64_t exceptions = 0;
    uint64_t connections = 0;  // that were made
    uint64_t ignored = 0;      // replies that did not fit the request
    uint64_t discarded = 0;    // messages that nobody had asked for
    uint64_t shortestUs = 0;   // the times of the replies
    uint64_t longestUs = 0;
    uint64_t totalUs = 0;
};

/// The connection to a GPIO server, made when a request needs one, and the requests, one at a time, on the
/// caller's thread.
class GPIOServerLink {
public:
    /// The Debuggable, for the level, must outlive this object.
    GPIOServerLink(const Debuggable& debuggable, const IPAddress& address, uint16_t port);
    ~GPIOServerLink();

    /// Sends the words behind an action ID and returns the reply, which has the expected tag. Throws "Indirect
    /// GPIO request failed: %s", after which the next request makes a new connection.
    std::unique_ptr<Sentence> Request(uint32_t tag, std::vector<VariantValue> words, uint32_t expectedTag);

    GPIORequestStatistics statistics;

private:
    std::unique_ptr<Sentence> TryRequest(uint32_t tag, std::vector<VariantValue> words, uint32_t expectedTag);
    void Connect();
    void Open();
    void FinishConnecting();
    void DiscardMessages();
    void Send(const OutgoingMessage& message);
    std::unique_ptr<Sentence> AwaitReply(uint16_t actionID, uint32_t expectedTag);
    std::unique_ptr<Sentence> TakeReply(uint16_t actionID, uint32_t expectedTag);
    /// The reply that the message is, or null for one to be ignored.
    std::unique_ptr<Sentence> Examine(IncomingMessage& message, uint16_t actionID, uint32_t expectedTag);
    void WorkTerminal();
    void Close();

    const Debuggable& debuggable_;
    const IPAddress address_;
    const uint16_t port_;
    const GPIOServerGrammar grammar_;
    std::unique_ptr<TCPConnection> connection_;  // null until the first request, and after a failure
    std::unique_ptr<MessageTerminal> terminal_;  // null until the connection is connected
    uint16_t nextActionID_ = 0;
};

}  // namespace quarn
