#pragma once

/// Moves text lines over a TCPConnection, with a bounded backlog in each direction.
///
///     quarn::LineTerminal terminal(connection);
///     ...  // whenever terminal.Socket() is ready or terminal.WorkPending():
///     const bool alive = terminal.Work();
///     std::string line;
///     while (terminal.Get(line))
///         terminal.Put(Answer(line));
///     if (!alive)
///         ...  // disconnected for good: discard terminal and connection
///
/// Nothing throws on a peer's account: a backlog that fills up is emptied whole, which is printed with mask
/// ERR. Not locked: the owning worker calls Work() and Get(); other threads call Put() under that worker's
/// lock, then wake it.

#include <quarn/Attributes.h>

#include <stdint.h>
#include <sys/select.h>

#include <memory>
#include <string>

namespace quarn {

class TCPConnection;

class QUARN_API LineTerminal {
public:
    /// The connection must outlive the terminal.
    explicit LineTerminal(TCPConnection& connection);
    ~LineTerminal();
    LineTerminal(const LineTerminal&) = delete;
    LineTerminal& operator=(const LineTerminal&) = delete;

    /// Sends what the connection takes, then reads once. Returns false once the connection is disconnected.
    bool Work();
    /// Whether lines, or the rest of one, wait to be sent.
    bool WorkPending();
    /// As TCPConnection::SetReadableFileDescriptorBit().
    bool SetReadableFileDescriptorBit(fd_set* set, int* maxFd);
    /// The connection's descriptor.
    int Socket();

    /// Queues the line and a newline. With more than 1023 lines queued already, those are dropped first,
    /// which is printed; the peer then sees the start of a line that was under way run into this one.
    void Put(const std::string& line);
    /// Takes the oldest line received, without its newline and the white space before that. Returns false,
    /// and leaves `line` alone, when no complete line is waiting. The 1024th line that waits empties the
    /// list; so does, for itself, an unfinished line of more than 65535 characters. Both are printed.
    bool Get(std::string& line);

    /// Characters received and sent so far, newlines included; either pointer may be null.
    void GetCharacterCounts(uint64_t* received, uint64_t* sent);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
