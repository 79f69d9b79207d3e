#pragma once

/// What the tests of sockets share, on the loopback interface.

#include <quarn/quarn.h>

#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <utility>

namespace quarn::test {

inline const IPAddress LOOPBACK{std::string("127.0.0.1")};

/// Waits until poll() reports one of the events (or an error) on the descriptor, for ten seconds at most.
bool WaitFor(int fd, int16_t events);
/// The local port.
uint16_t PortOf(int fd);
/// Does not allow LOOPBACK.
AllowedPeers SomebodyElse();
/// The same ones every time.
std::string RandomBytes(size_t size);

/// What goes over the wire.
std::string WireBytes(const OutgoingMessage& message);
std::string WireBytes(const SentenceGrammar& grammar, uint32_t tag, const std::vector<VariantValue>& words);

/// A plain blocking socket at the other end of what is being tested.
class Peer {
public:
    explicit Peer(uint16_t port);
    explicit Peer(TCPListener& listener);
    ~Peer() { Close(); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    uint16_t LocalPort() const { return PortOf(fd_); }
    void Write(const std::string& bytes) const;
    /// Reads exactly as many bytes; fewer when the stream ends.
    std::string Read(size_t length) const;
    /// Whether these are the next bytes.
    bool Hears(const std::string& bytes) const { return Read(bytes.size()) == bytes; }
    void ShutDown() const { shutdown(fd_, SHUT_WR); }
    /// Closes without a farewell.
    void Reset();
    void Close() { close(std::exchange(fd_, -1)); }

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

    TCPListener listener{LOOPBACK, 0};
    Peer peer{listener.GetPort()};
    std::unique_ptr<TCPConnection> connection;
};

/// A link, and what is printed meanwhile.
struct LinkTest : testing::Test {
    DebugCapture capture;
    Link link;
};

/// A port on which connects neither succeed nor fail: its queue of connections to accept is full.
class BusyPort {
public:
    BusyPort() : occupant_((listen(listener_->Socket(), 0), port_)) {}  // a backlog of 0 has room for one

    uint16_t Port() const { return port_; }
    /// From now on the system refuses connects.
    void StopListening() { listener_.reset(); }

private:
    std::unique_ptr<TCPListener> listener_ = std::make_unique<TCPListener>(LOOPBACK, 0);
    const uint16_t port_ = listener_->GetPort();
    const Peer occupant_;
};

}  // namespace quarn::test
