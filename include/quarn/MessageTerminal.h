#pragma once

/// Moves tagged messages over a TCPConnection, with a bounded backlog in each direction.
///
///     quarn::MessageTerminal terminal(connection);
///     ...  // whenever terminal.Socket() is ready or terminal.WorkPending():
///     const bool alive = terminal.Work();
///     quarn::IncomingMessage message;
///     while (terminal.Get(message))
///         if (message.Apply(index))
///             terminal.Put(Acknowledgement(message));
///     if (!alive)
///         ...  // disconnected for good: discard terminal and connection
///
/// Nothing throws on a peer's account. Bytes that cannot be a message are skipped one by one until a whole
/// message starts; one line with mask ERR tells when that begins and one, with the number skipped, when it
/// ends. A backlog that exceeds its limit is emptied whole, which is printed too. Not locked: the owning
/// worker calls Work() and Get(); other threads call Put() under that worker's lock, then wake it.

#include <quarn/Attributes.h>

#include <stddef.h>
#include <stdint.h>
#include <sys/select.h>

#include <memory>

namespace quarn {

class IncomingMessage;
class OutgoingMessage;
class TCPConnection;

class QUARN_API MessageTerminal {
public:
    /// The connection must outlive the terminal.
    explicit MessageTerminal(TCPConnection& connection);
    ~MessageTerminal();
    MessageTerminal(const MessageTerminal&) = delete;
    MessageTerminal& operator=(const MessageTerminal&) = delete;

    /// Reads once, then sends what the connection takes. Returns false, without sending, once the connection
    /// is disconnected; messages received before may still be taken.
    bool Work();
    /// Sends what the connection takes without reading first, for an owner that queues messages while nothing
    /// has arrived and would pay for the idle read. Returns false once the connection is disconnected.
    bool Flush();
    /// Whether bytes wait to be sent.
    bool WorkPending();
    /// While bytes wait to be sent, returns false and leaves the set alone: the caller must not sleep but
    /// call Work() again. Otherwise as TCPConnection::SetReadableFileDescriptorBit().
    bool SetReadableFileDescriptorBit(fd_set* set, int* maxFd);
    /// The connection's descriptor.
    int Socket();

    /// Queues a copy of the message's bytes. Returns the backlog's size: 0 when the message carried it beyond
    /// its limit, so that it was emptied, this message included, and that was printed.
    size_t Put(const OutgoingMessage& message);
    /// Takes the next message, skipping what is none. Returns false when no whole message waits; the message
    /// then is empty or, when there were no bytes at all, as it was. The bytes of a header that cannot be
    /// recognised as damaged are waited for, however many it announces, within the backlog's limit. Takes
    /// time in proportion to the backlog, whatever the bytes.
    bool Get(IncomingMessage& message);

    /// The most bytes that may wait to be decoded or to be sent; 0 restores the default of 262144.
    void SetRxBacklogLimit(size_t bytes);
    void SetTxBacklogLimit(size_t bytes);

    /// Bytes that wait to be decoded and to be sent; either pointer may be null.
    void GetBacklogs(size_t* received, size_t* toSend) const;
    /// Messages queued by Put(), dropped ones included.
    uint64_t GetTransmittedMessageCount() const;
    /// Messages handed out by Get().
    uint64_t GetReceivedMessageCount() const;
    /// Bytes received and sent so far; either pointer may be null.
    void GetByteCounts(uint64_t* received, uint64_t* sent) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
