#include "devices/GPIOServerLink.h"

#include <quarn/Debug.h>
#include <quarn/IncomingMessage.h>
#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/SentenceDetails.h>
#include <quarn/Text.h>

#include "foundation/ErrnoText.h"

#include <errno.h>
#include <poll.h>
#include <stdlib.h>

#include <algorithm>

namespace quarn {

namespace {

constexpr uint64_t kConnectLimitMs = 500;
constexpr uint64_t kReplyLimitMs = 500;
constexpr uint64_t kSliceMs = 5;

[[noreturn]] void Fail(uint64_t& counter, const char* reason) {
    ++counter;
    throw MonitorException("%s", reason);
}

void Print(uint32_t mask, int line, const std::string& event) {
    if (DefaultDebug())
        DefaultDebug()->Printf(mask, __FILE__, line, "GPIO: %s", event.c_str());
}

/// Waits in slices of time, so that whoever waits looks at the other things that may have happened.
class TimeLimit {
public:
    explicit TimeLimit(uint64_t milliseconds) : limitMs_(milliseconds) {}

    uint64_t ElapsedUs() const { return Tick() - start_; }
    bool HasPassed() const { return MillisecondsSince(start_) >= limitMs_; }

    /// Waits until the descriptor is ready for one of the events or the slice has passed, or the limit has.
    void WaitFor(int fd, int16_t events) const {
        pollfd waiting = {fd, events, 0};
        const uint64_t elapsedMs = std::min(MillisecondsSince(start_), limitMs_);
        const int sliceMs = static_cast<int>(std::min(kSliceMs, limitMs_ - elapsedMs));
        while (poll(&waiting, 1, sliceMs) < 0)
            if (errno != EINTR)
                throw MonitorException("select failed: %s", ErrnoText(errno).c_str());
    }

private:
    const uint64_t start_ = Tick();
    const uint64_t limitMs_;
};

}  // namespace

void GPIORequestStatistics::AddReplyTime(uint64_t microseconds) {
    shortestUs = replies == 0 ? microseconds : std::min(shortestUs, microseconds);
    longestUs = std::max(longestUs, microseconds);
    totalUs += microseconds;
    ++replies;
}

std::list<std::string> GPIORequestStatistics::List() const {
    const auto row = [](const char* name, uint64_t count) {
        return std::list<std::string>{name, Format("%lu", count)};
    };
    return FormatColumnarList({
        row("Requests", requests),
        row("Replies", replies),
        row("Reply time shortest (us)", shortestUs),
        row("Reply time average (us)", replies == 0 ? 0 : totalUs / replies),
        row("Reply time longest (us)", longestUs),
        row("Failures", failures),
        row("- could not connect", notConnected),
        row("- timed out connecting", connectsTimedOut),
        row("- connection broken", broken),
        row("- no response", unanswered),
        row("- exception of the server", exceptions),
        row("Connections", connections),
        row("Replies ignored", ignored),
        row("Messages discarded", discarded),
    });
}

GPIOServerLink::GPIOServerLink(const Debuggable& debuggable, const IPAddress& address, uint16_t port)
    : debuggable_(debuggable), address_(address), port_(port) {}

GPIOServerLink::~GPIOServerLink() {
    Close();
}

std::unique_ptr<Sentence> GPIOServerLink::Request(uint32_t tag, std::vector<VariantValue> words,
                                                  uint32_t expectedTag) {
    ++statistics.requests;
    try {
        return TryRequest(tag, std::move(words), expectedTag);
    } catch (const MonitorException& e) {
        ++statistics.failures;
        Print(DEBUG_WARN, __LINE__, "Closing connection: " + e.Description());
        Close();
        throw MonitorException("Indirect GPIO request failed: %s", e.Description().c_str());
    }
}

std::unique_ptr<Sentence> GPIOServerLink::TryRequest(uint32_t tag, std::vector<VariantValue> words,
                                                     uint32_t expectedTag) {
    Connect();
    WorkTerminal();
    DiscardMessages();

    const uint16_t actionID = nextActionID_++;
    words.insert(words.begin(), actionID);
    Send(OutgoingMessage(*grammar_.Find(tag, true), words));
    return AwaitReply(actionID, expectedTag);
}

void GPIOServerLink::Connect() {
    if (!connection_)
        Open();
    if (terminal_)
        return;
    FinishConnecting();
    ++statistics.connections;
    terminal_ = std::make_unique<MessageTerminal>(*connection_);
    nextActionID_ = static_cast<uint16_t>(rand());
    Print(DEBUG_INFO, __LINE__, Format("Connected to server; next action ID is %X", nextActionID_));
}

void GPIOServerLink::Open() {
    if (debuggable_.GetDebugLevel() > 0)
        Print(DEBUG_ALWAYS, __LINE__, "Opening connection");
    const std::string name = Format("GPIO server (%s:%u)", address_.ToString().c_str(), port_);
    connection_ = std::make_unique<TCPConnection>(name, address_, port_);
}

void GPIOServerLink::FinishConnecting() {
    for (const TimeLimit limit(kConnectLimitMs); !connection_->IsConnected();) {
        limit.WaitFor(connection_->Socket(), POLLOUT);
        if (!connection_->Work(nullptr))
            Fail(statistics.notConnected, "Could not connect to GPIO server");
        if (!connection_->IsConnected() && limit.HasPassed())
            Fail(statistics.connectsTimedOut, "Timed out waiting to connect to GPIO server");
    }
}

void GPIOServerLink::DiscardMessages() {
    for (IncomingMessage message; terminal_->Get(message);) {
        ++statistics.discarded;
        Print(DEBUG_WARN, __LINE__, "Discarded extraneous message");
    }
}

void GPIOServerLink::Send(const OutgoingMessage& message) {
    if (terminal_->Put(message) == 0)
        throw MonitorException("Request of %zu bytes is too long", message.Bytes());
    WorkTerminal();
}

std::unique_ptr<Sentence> GPIOServerLink::AwaitReply(uint16_t actionID, uint32_t expectedTag) {
    for (const TimeLimit limit(kReplyLimitMs); !limit.HasPassed();) {
        limit.WaitFor(terminal_->Socket(), terminal_->WorkPending() ? POLLIN | POLLOUT : POLLIN);
        WorkTerminal();
        if (std::unique_ptr<Sentence> reply = TakeReply(actionID, expectedTag)) {
            statistics.AddReplyTime(limit.ElapsedUs());
            return reply;
        }
    }
    Fail(statistics.unanswered, "No response from GPIO server");
}

std::unique_ptr<Sentence> GPIOServerLink::TakeReply(uint16_t actionID, uint32_t expectedTag) {
    for (IncomingMessage message; terminal_->Get(message);)
        if (std::unique_ptr<Sentence> reply = Examine(message, actionID, expectedTag))
            return reply;
    return nullptr;
}

std::unique_ptr<Sentence> GPIOServerLink::Examine(IncomingMessage& message, uint16_t actionID,
                                                  uint32_t expectedTag) {
    std::unique_ptr<Sentence> sentence(grammar_.CreateSentence(&message));
    if (sentence && uint16_t(sentence->Word(0)) != actionID) {
        ++statistics.ignored;
        Print(DEBUG_WARN, __LINE__,
              Format("Server returned action ID %04X; expected %04X (ignored)", uint16_t(sentence->Word(0)),
                     actionID));
        return nullptr;
    }
    if (sentence && message.GetTag() == GPIOServerGrammar::EXCEPTION) {
        const std::string reason = sentence->Word(1);
        Print(DEBUG_WARN, __LINE__, "Server reported exception: " + reason);
        Fail(statistics.exceptions, reason.c_str());
    }
    if (!sentence || message.GetTag() != expectedTag) {
        ++statistics.ignored;
        Print(DEBUG_WARN, __LINE__,
              Format("Server returned tag %04X; expected %04X (ignored)", message.GetTag(), expectedTag));
        return nullptr;
    }
    return sentence;
}

void GPIOServerLink::WorkTerminal() {
    if (!terminal_->Work())
        Fail(statistics.broken, "Connection to GPIO server broken");
}

void GPIOServerLink::Close() {
    if (terminal_)
        Print(DEBUG_INFO, __LINE__, "Closing terminal");
    terminal_.reset();
    if (connection_ && DefaultDebug())  // deliberately with another prefix than all else
        DefaultDebug()->Printf(DEBUG_INFO, __FILE__, __LINE__, "GPIOs: Closing connection");
    connection_.reset();
}

}  // namespace quarn
