#pragma once

/// Owns one IPv4 stream socket: non-blocking, closed on exec, without Nagle's algorithm.
///
///     try {
///         quarn::TCPSocket socket;
///         ...  // bind, listen or connect socket.Socket()
///         if (int error = socket.ErrorCheck())
///             fprintf(stderr, "%s: %s\n", socket.Describe().c_str(), strerror(error));
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///
/// Daemons use TCPListener and TCPConnection, which are built on it. Not locked: one thread at a time.

#include <quarn/Attributes.h>

#include <sys/select.h>

#include <memory>
#include <string>

namespace quarn {

class QUARN_API TCPSocket {
public:
    /// Creates a socket. Throws MonitorException "Failed to create socket: %s", and what SetBlocking() and
    /// SetNagle() of SocketUtilities throw.
    TCPSocket();
    /// Adopts an accepted descriptor and prepares it likewise; throws what SetBlocking() and SetNagle() of
    /// SocketUtilities throw. The descriptor belongs to the socket from the call on: when preparing it fails,
    /// it has been closed. A negative one stands for a socket that was never created.
    explicit TCPSocket(int fd);
    /// Closes the descriptor.
    virtual ~TCPSocket();
    TCPSocket(const TCPSocket&) = delete;
    TCPSocket& operator=(const TCPSocket&) = delete;

    /// Adds the descriptor to the set and, when `maxFd` is given, raises it to descriptor + 1, as select()
    /// wants it. Always returns true. Throws MonitorException "File descriptor %d does not fit an fd_set
    /// (limit %d)".
    virtual bool SetReadableFileDescriptorBit(fd_set* set, int* maxFd);

    /// The descriptor, -1 when there is none. It stays the socket's.
    int Socket();
    /// As SocketUtilities::Describe().
    std::string Describe() const;
    /// As SocketUtilities::SocketWritable().
    bool SocketWritable() const;
    /// Takes the socket's pending error, 0 when there is none. Throws MonitorException "Calling ErrorCheck on
    /// uncreated TCPSocket" or "%s: getsockopt(SO_ERROR) failed: %s".
    int ErrorCheck() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
