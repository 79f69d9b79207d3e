#include "endurance/Attackers.h"

#include <quarn/CRC16.h>
#include <quarn/LocalTime.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/VariantValue.h>

#include "common/UnitGrammar.h"

#include <errno.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace endurance {

namespace {

constexpr size_t kGarbageBytes = 1 << 20;
constexpr size_t kPiece = 4096;
constexpr size_t kHalf = 12;
constexpr uint64_t kPatienceUs = 200000;  // before a half message is given up
constexpr uint64_t kResetAfterUs = 20000;
constexpr unsigned kPauseUs = 1000;

std::string QueryEverything() {
    const unit::UnitGrammar grammar;
    const quarn::OutgoingMessage query(*grammar.Find(unit::QUERY, true), {quarn::VariantValue("*")});
    return std::string(reinterpret_cast<const char*>(query.Sync()), query.Bytes());
}

/// A good header of a message of nearly 4 GiB.
std::string Giant() {
    std::string header("\xA6\xFF\xFF\xFF\xF0\x00\x03\x00\x01", 9);
    const uint16_t crc =
        quarn::CRC16::Compute(0, reinterpret_cast<const uint8_t*>(header.data()), header.size());
    header += static_cast<char>(crc >> 8);
    header += static_cast<char>(crc);
    return header;
}

const std::string kQuery = QueryEverything();
const std::string kGiant = Giant();

}  // namespace

Attackers::Attackers(const unit::Endpoint& unit, size_t count) : unit_(unit), garbage_(kGarbageBytes, '\0') {
    std::generate(garbage_.begin(), garbage_.end(), [this] { return static_cast<char>(random_()); });
    for (size_t i = 0; i < count; ++i)
        connections_.push_back({static_cast<Attack>(i % kAttacks)});
    thread_ = std::thread([this] { Run(); });
}

Attackers::~Attackers() {
    isEnding_ = true;
    thread_.join();
    for (Connection& connection : connections_)
        Close(connection, true);
}

void Attackers::Run() {
    while (!isEnding_) {
        for (Connection& connection : connections_) {
            if (connection.fd < 0)
                Connect(connection);
            else
                Advance(connection);
        }
        usleep(kPauseUs);
    }
}

void Attackers::Connect(Connection& connection) {
    connection.fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(unit_.port);
    address.sin_addr = unit_.address.ToInAddr();
    if (connect(connection.fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
        errno != EINPROGRESS)
        Close(connection, false);
    connection.since = quarn::Tick();
    connection.sent = 0;
    ++totals_.connections;
}

void Attackers::Close(Connection& connection, bool withReset) {
    if (connection.fd < 0)
        return;
    const linger atOnce = {withReset, 0};
    setsockopt(connection.fd, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close(connection.fd);
    connection.fd = -1;
}

void Attackers::Advance(Connection& connection) {
    const uint64_t age = quarn::Tick() - connection.since;
    bool isUp = true;
    switch (connection.attack) {
        case Attack::GARBAGE:
            isUp = Send(connection, garbage_.data() + random_() % (kGarbageBytes - kPiece), kPiece);
            break;
        case Attack::HALF_MESSAGE:
            isUp = (connection.sent > 0 || Send(connection, kQuery.data(), kHalf)) && age < kPatienceUs;
            break;
        case Attack::GIANT:
            isUp = connection.sent == 0 ? Send(connection, kGiant.data(), kGiant.size())
                                        : Send(connection, garbage_.data(), kPiece / 16);
            break;
        case Attack::FLOOD:
            isUp = Send(connection, kQuery.data(), kQuery.size());
            break;
        case Attack::RESET:
            isUp = Send(connection, kQuery.data(), kQuery.size()) && age < kResetAfterUs;
            break;
    }
    if (!isUp)
        Close(connection, connection.attack == Attack::RESET);
}

bool Attackers::Send(Connection& connection, const char* data, size_t length) {
    const ssize_t sent = send(connection.fd, data, length, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0)
        return errno == EAGAIN || errno == EINPROGRESS;
    connection.sent += static_cast<size_t>(sent);
    totals_.bytesSent += static_cast<uint64_t>(sent);
    return true;
}

}  // namespace endurance
