#pragma once

/// One TCP connection, made by connecting or accepted by a TCPListener, that a worker drives.
///
///     quarn::TCPConnection connection("mixer", quarn::IPAddress("10.0.0.2"), 5000);
///     quarn::LineTerminal terminal(connection);
///     ...  // whenever connection.Socket() is ready, and now and then while !connection.IsConnected():
///     if (!terminal.Work()) {
///         // Disconnected for good, and the reason printed with mask WARN: make a new connection later.
///     }
///
/// Network failures never throw: they are printed with mask WARN and leave the connection disconnected, which
/// it then stays. It belongs to one worker; other threads send on it under that worker's lock only.

#include <quarn/Attributes.h>
#include <quarn/IPAddress.h>

#include <stddef.h>
#include <stdint.h>
#include <sys/select.h>

#include <memory>
#include <string>

namespace quarn {

class TCPConnectionReceiver;

class QUARN_API TCPConnection {
public:
    /// Starts to connect. A refusal does not throw; an unfit socket does, as TCPSocket() says.
    TCPConnection(const std::string& name, const IPAddress& address, uint16_t port);
    /// Takes over an accepted descriptor, as TCPSocket(int) does.
    TCPConnection(const std::string& name, uint32_t clientID, int fd);
    /// Closes the socket; a connection that became disconnected keeps it until here.
    virtual ~TCPConnection();
    TCPConnection(const TCPConnection&) = delete;
    TCPConnection& operator=(const TCPConnection&) = delete;

    /// As TCPSocket::SetReadableFileDescriptorBit().
    virtual bool SetReadableFileDescriptorBit(fd_set* set, int* maxFd);

    /// One step: finishes a pending connect (given up on after 1000 ms, which only this call notices), then
    /// reads once, at most 4096 bytes, and passes them to the receiver; null drops them. Returns false once
    /// the connection is disconnected, also when it has just become so. A system that cannot poll the socket
    /// throws, as SocketWritable() and ErrorCheck() of TCPSocket say.
    bool Work(TCPConnectionReceiver* receiver);

    /// One attempt to write. Returns the bytes written, perhaps fewer than `length`: 0 when the connection is
    /// not connected (yet, or any more), when the write would block and when it failed. The caller keeps the
    /// rest. Never raises SIGPIPE.
    size_t Send(const void* data, size_t length);

    /// False once the connection is disconnected, for good.
    bool IsAlive() const;
    /// Whether bytes can pass: true when connected or accepted, false while connecting.
    bool IsConnected() const;
    /// The number that the listener gave, from 1; 0 for a connection that was made by connecting.
    uint32_t GetClientID() const;
    std::string GetName() const;
    /// The descriptor to wait on, for writing while connecting; it stays the connection's.
    int Socket();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
