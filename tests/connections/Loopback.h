#pragma once

#include <quarn/IPAddress.h>
#include <quarn/TCPConnection.h>
#include <quarn/TCPListener.h>

#include <stdint.h>

#include <memory>
#include <string>

namespace quarn::test {

inline const IPAddress LOOPBACK{std::string("127.0.0.1")};

/// Waits until poll() reports one of the events (or an error) on the descriptor, for ten seconds at most.
bool WaitFor(int fd, int16_t events);
/// The local port.
uint16_t PortOf(int fd);
/// Has close() send a reset.
void ResetOnClose(int fd);

/// A plain blocking socket at the other end of what is being tested.
class Peer {
public:
    explicit Peer(uint16_t port);
    ~Peer() { Close(); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    int Socket() const { return fd_; }
    uint16_t LocalPort() const { return PortOf(fd_); }
    void Write(const std::string& bytes) const;
    /// Reads exactly as many bytes; fewer when the stream ends.
    std::string Read(size_t length) const;
    void ShutDown() const;
    void Reset();
    void Close();

private:
    int fd_;
};

/// A TCPConnection named "c" and the peer that it was accepted from.
struct Link {
    Link();

    /// Has the peer write the bytes, and the terminal (or whatever else has a Work()) read all of them: up to
    /// 4096 bytes make one piece, as they came.
    template <class Terminal>
    void Deliver(const std::string& bytes, Terminal& terminal) {
        for (size_t start = 0; start < bytes.size(); start += 4096) {
            Send(bytes.substr(start, 4096));
            terminal.Work();
        }
    }
    /// Has the peer write the bytes and waits until they have arrived.
    void Send(const std::string& bytes);

    TCPListener listener;
    Peer peer;
    std::unique_ptr<TCPConnection> connection;
};

/// A port on which connects neither succeed nor fail: its queue of connections to accept is full.
class BusyPort {
public:
    BusyPort();

    uint16_t Port() const { return port_; }
    /// From now on the system refuses connects.
    void StopListening() { listener_.reset(); }
    /// Lets go of what fills the queue; returns the next connection once the system has tried it again.
    std::unique_ptr<TCPConnection> AcceptNext();

private:
    std::unique_ptr<TCPListener> listener_;
    uint16_t port_;
    Peer occupant_;
};

}  // namespace quarn::test
