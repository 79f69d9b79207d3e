#include <quarn/Debug.h>
#include <quarn/LocalTime.h>
#include <quarn/TCPConnection.h>
#include <quarn/TCPConnectionReceiver.h>
#include <quarn/TCPSocket.h>
#include <quarn/Text.h>

#include "connections/SocketAddress.h"
#include "foundation/Descriptor.h"
#include "foundation/ErrnoText.h"

#include <errno.h>
#include <sys/socket.h>

namespace quarn {

namespace {

constexpr uint64_t kConnectTimeoutMs = 1000;
constexpr size_t kReadBytes = 4096;

bool ShouldTryAgain(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

class TCPConnection::Impl {
public:
    Impl(const std::string& name, const IPAddress& address, uint16_t port)
        : connectStart_(Tick()), name_(name) {
        const sockaddr_in peer = MakeSocketAddress(address, port);
        if (connect(socket_.Socket(), reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0)
            state_ = State::CONNECTED;
        else if (errno != EINPROGRESS)
            Disconnect(__LINE__, Format("failed before connect: %s", ErrnoText(errno).c_str()));
    }

    Impl(const std::string& name, uint32_t clientID, Descriptor fd)
        : socket_(fd.Release()), name_(name), clientID_(clientID), state_(State::ACCEPTED) {}

    bool IsAlive() const { return state_ != State::DISCONNECTED; }
    bool IsConnected() const { return state_ == State::CONNECTED || state_ == State::ACCEPTED; }
    uint32_t ClientID() const { return clientID_; }
    const std::string& Name() const { return name_; }
    TCPSocket& Socket() { return socket_; }

    bool Work(TCPConnectionReceiver* receiver) {
        if (!IsAlive()) {
            Print(__LINE__, "permanently disconnected");
            return false;
        }
        if (state_ == State::CONNECTING && !FinishConnecting())
            return IsAlive();
        return Read(receiver);
    }

    size_t Send(const void* data, size_t length) {
        if (!IsConnected())
            return 0;
        const ssize_t sent = send(socket_.Socket(), data, length, MSG_NOSIGNAL);
        if (sent >= 0)
            return static_cast<size_t>(sent);
        if (!ShouldTryAgain(errno))
            Disconnect(__LINE__, Format("write failed: %s", ErrnoText(errno).c_str()));
        return 0;
    }

private:
    enum class State { CONNECTING = 0, CONNECTED = 1, ACCEPTED = 2, DISCONNECTED = 3 };

    /// Whether the connection is connected now.
    bool FinishConnecting() {
        if (!socket_.SocketWritable()) {
            const uint64_t waited = MillisecondsSince(connectStart_);
            if (waited > kConnectTimeoutMs)
                Disconnect(__LINE__, Format("giving up after %u ms", static_cast<uint32_t>(waited)));
            return false;
        }
        if (const int error = socket_.ErrorCheck()) {
            Disconnect(__LINE__, Format("failed during connect: %s", ErrnoText(error).c_str()));
            return false;
        }
        state_ = State::CONNECTED;
        return true;
    }

    bool Read(TCPConnectionReceiver* receiver) {
        uint8_t buffer[kReadBytes];
        const ssize_t length = recv(socket_.Socket(), buffer, sizeof buffer, 0);
        if (length > 0) {
            if (receiver)
                receiver->Receive(buffer, static_cast<size_t>(length));
        } else if (length == 0) {
            Disconnect(__LINE__, "zero-byte read (probably shut down by peer)");
        } else if (!ShouldTryAgain(errno)) {
            Disconnect(__LINE__, Format("read failed: %s", ErrnoText(errno).c_str()));
        }
        return IsAlive();
    }

    void Disconnect(int line, const std::string& reason) {
        Print(line, reason);
        state_ = State::DISCONNECTED;
    }

    void Print(int line, const std::string& event) const {
        if (DefaultDebug())
            DefaultDebug()->Printf(DEBUG_WARN, __FILE__, line, "Connection \"%s\": %s", name_.c_str(),
                                   event.c_str());
    }

    TCPSocket socket_;
    const uint64_t connectStart_ = 0;
    const std::string name_;
    const uint32_t clientID_ = 0;
    State state_ = State::CONNECTING;
};

TCPConnection::TCPConnection(const std::string& name, const IPAddress& address, uint16_t port)
    : impl_(std::make_unique<Impl>(name, address, port)) {}
TCPConnection::TCPConnection(const std::string& name, uint32_t clientID, int fd)
    : impl_(std::make_unique<Impl>(name, clientID, Descriptor(fd))) {}
TCPConnection::~TCPConnection() = default;

bool TCPConnection::SetReadableFileDescriptorBit(fd_set* set, int* maxFd) {
    return impl_->Socket().SetReadableFileDescriptorBit(set, maxFd);
}

bool TCPConnection::Work(TCPConnectionReceiver* receiver) {
    return impl_->Work(receiver);
}
size_t TCPConnection::Send(const void* data, size_t length) {
    return impl_->Send(data, length);
}

bool TCPConnection::IsAlive() const {
    return impl_->IsAlive();
}
bool TCPConnection::IsConnected() const {
    return impl_->IsConnected();
}
uint32_t TCPConnection::GetClientID() const {
    return impl_->ClientID();
}
std::string TCPConnection::GetName() const {
    return impl_->Name();
}
int TCPConnection::Socket() {
    return impl_->Socket().Socket();
}

}  // namespace quarn
