#include "connections/Loopback.h"

#include "connections/SocketAddress.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <random>
#include <stdexcept>

namespace quarn::test {

static void Check(bool ok, const char* what) {
    if (!ok)
        throw std::runtime_error(what);
}

bool WaitFor(int fd, int16_t events) {
    pollfd entry = {fd, events, 0};
    return poll(&entry, 1, 10000) == 1;
}

uint16_t PortOf(int fd) {
    return ntohs(GetLocalAddress(fd).sin_port);
}

AllowedPeers SomebodyElse() {
    AllowedPeers allowed;
    allowed.Add("127.0.0.2");
    return allowed;
}

std::string RandomBytes(size_t size) {
    std::minstd_rand random(5);
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random() >> 8); });
    return bytes;
}

std::string WireBytes(const OutgoingMessage& message) {
    return {reinterpret_cast<const char*>(message.Sync()), message.Bytes()};
}

std::string WireBytes(const SentenceGrammar& grammar, uint32_t tag, const std::vector<VariantValue>& words) {
    return WireBytes({*grammar.Find(tag, true), words});
}

Peer::Peer(uint16_t port) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_in address = MakeSocketAddress(LOOPBACK, port);
    Check(connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "connect");
}

Peer::Peer(TCPListener& listener)
    : fd_((WaitFor(listener.Socket(), POLLIN), accept4(listener.Socket(), nullptr, nullptr, SOCK_CLOEXEC))) {}

void Peer::Write(const std::string& bytes) const {
    Check(send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size()), "send");
}

std::string Peer::Read(size_t length) const {
    std::string bytes(length, '\0');
    const timeval limit = {30, 0};  // what never comes is a failure
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const ssize_t received = length == 0 ? 0 : recv(fd_, bytes.data(), length, MSG_WAITALL);
    bytes.resize(received < 0 ? 0 : static_cast<size_t>(received));
    return bytes;
}

void Peer::Reset() {
    const linger now = {1, 0};
    setsockopt(fd_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    Close();
}

Link::Link() {
    WaitFor(listener.Socket(), POLLIN);
    connection.reset(listener.Accept("c"));
}

void Link::Send(const std::string& bytes) {
    peer.Write(bytes);
    auto haveArrived = [&, waiting = 0]() mutable {
        return ioctl(connection->Socket(), FIONREAD, &waiting) == 0 && size_t(waiting) >= bytes.size();
    };
    Check(Eventually(haveArrived), "the bytes have not arrived");
}

}  // namespace quarn::test
