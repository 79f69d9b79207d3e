#pragma once

#include <quarn/CRC16.h>
#include <quarn/LocalTime.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/TCPConnection.h>
#include <quarn/VariantValue.h>

#include "common/Endpoint.h"
#include "common/UnitGrammar.h"

#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace endurance {

/// Hostile connections to a unit, of all kinds in equal numbers, made again whenever the unit closes them; served by a
/// thread of their own.
class Attackers {
public:
    Attackers(const unit::Endpoint& unit, size_t count) : unit_(unit), garbage_(1 << 20, '\0') {
        std::generate(garbage_.begin(), garbage_.end(), [this] { return static_cast<char>(random_()); });
        for (size_t i = 0; i < count; ++i)
            connections_.emplace_back().attack = Attack(i % (RESET + 1));
        thread_ = std::thread([this] { Run(); });
    }
    ~Attackers() {
        isEnding_ = true;
        thread_.join();
    }
    Attackers(const Attackers&) = delete;
    Attackers& operator=(const Attackers&) = delete;

    uint64_t Made() const { return made_; }
    uint64_t BytesSent() const { return bytesSent_; }

private:
    enum Attack {
        GARBAGE,       // sends random bytes as fast as they are taken
        HALF_MESSAGE,  // sends part of a good message, waits, and leaves
        GIANT,         // announces a message of 4 GiB and trickles
        FLOOD,         // asks for everything and never reads
        RESET          // sends a little and resets the connection
    };
    struct Connection {
        Attack attack = GARBAGE;
        std::unique_ptr<quarn::TCPConnection> connection;
        uint64_t since = 0;  // ticks at which it was made
        bool hasSent = false;
    };

    static std::string QueryEverything() {
        const unit::UnitGrammar grammar;
        const quarn::OutgoingMessage query(*grammar.Find(unit::QUERY, true), {quarn::VariantValue("*")});
        return std::string(reinterpret_cast<const char*>(query.Sync()), query.Bytes());
    }
    /// A good header of a message of nearly 4 GiB.
    static std::string Giant() {
        std::string header("\xA6\xFF\xFF\xFF\xF0\x00\x03\x00\x01", 9);
        const uint16_t crc =
            quarn::CRC16::Compute(0, reinterpret_cast<const uint8_t*>(header.data()), header.size());
        return header + static_cast<char>(crc >> 8) + static_cast<char>(crc);
    }

    void Run() {
        for (; !isEnding_; usleep(1000))
            for (Connection& hostile : connections_) {
                if (!hostile.connection) {
                    hostile = {hostile.attack,
                               std::make_unique<quarn::TCPConnection>("hostile", unit_.address, unit_.port),
                               quarn::Tick()};
                    ++made_;
                } else if (!Advance(hostile)) {
                    const linger atOnce = {hostile.attack == RESET, 0};
                    setsockopt(hostile.connection->Socket(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
                    hostile.connection.reset();
                }
            }
    }
    /// Whether to go on.
    bool Advance(Connection& hostile) {
        const uint64_t ageMs = quarn::MillisecondsSince(hostile.since);
        const char* const somewhere = garbage_.data() + random_() % (garbage_.size() - 4096);
        switch (hostile.attack) {
            case GARBAGE:
                return Send(hostile, somewhere, 4096);
            case HALF_MESSAGE:
                return (hostile.hasSent || Send(hostile, query_.data(), 12)) && ageMs < 200;
            case GIANT:
                return hostile.hasSent ? Send(hostile, somewhere, 256)
                                       : Send(hostile, giant_.data(), giant_.size());
            case FLOOD:
                return Send(hostile, query_.data(), query_.size());
            default:
                return Send(hostile, query_.data(), query_.size()) && ageMs < 20;
        }
    }
    bool Send(Connection& hostile, const char* data, size_t length) {
        const ssize_t sent = send(hostile.connection->Socket(), data, length, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0)
            return errno == EAGAIN;
        hostile.hasSent = true;
        bytesSent_ += static_cast<uint64_t>(sent);
        return true;
    }

    const unit::Endpoint unit_;
    const std::string query_ = QueryEverything();
    const std::string giant_ = Giant();
    std::vector<Connection> connections_;
    std::mt19937 random_{20};
    std::string garbage_;
    std::atomic<uint64_t> made_{0};
    std::atomic<uint64_t> bytesSent_{0};
    std::atomic<bool> isEnding_{false};
    std::thread thread_;
};

}  // namespace endurance
