#pragma once

/// Moves raw characters over a TCPConnection, with a bounded backlog in each direction.
///
///     quarn::CharacterTerminal terminal(connection);
///     ...  // whenever terminal.Socket() is ready or terminal.WorkPending():
///     const bool alive = terminal.Work();
///     std::vector<char> data;
///     if (terminal.Get(data))
///         terminal.Put(data);  // echo
///     if (!alive)
///         ...  // disconnected for good: discard terminal and connection
///
/// Nothing throws on a peer's account: a backlog that fills up is emptied whole, which is printed with mask
/// ERR. Not locked: the owning worker calls Work() and Get(); other threads call Put() under that worker's
/// lock, then wake it.

#include <quarn/Attributes.h>

#include <sys/select.h>

#include <memory>
#include <vector>

namespace quarn {

class TCPConnection;

class QUARN_API CharacterTerminal {
public:
    /// The connection must outlive the terminal.
    explicit CharacterTerminal(TCPConnection& connection);
    ~CharacterTerminal();
    CharacterTerminal(const CharacterTerminal&) = delete;
    CharacterTerminal& operator=(const CharacterTerminal&) = delete;

    /// Sends what the connection takes, then reads once. Returns false once the connection is disconnected.
    bool Work();
    /// Whether characters wait to be sent.
    bool WorkPending();
    /// As TCPConnection::SetReadableFileDescriptorBit().
    bool SetReadableFileDescriptorBit(fd_set* set, int* maxFd);
    /// The connection's descriptor.
    int Socket();

    /// Queues characters. A backlog that holds 16384 or more already is emptied first, which is printed.
    void Put(const std::vector<char>& data);
    /// Moves all that has been received into `data`. Returns false, and leaves `data` alone, when there is
    /// nothing. Received characters that make 16384 or more with those before are all dropped, which is
    /// printed.
    bool Get(std::vector<char>& data);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
