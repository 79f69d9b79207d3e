#pragma once

#include "common/Endpoint.h"

#include <stddef.h>
#include <stdint.h>

#include <atomic>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace endurance {

/// What a hostile connection does.
enum class Attack {
    GARBAGE,       ///< sends random bytes as fast as they are taken
    HALF_MESSAGE,  ///< sends part of a good message, waits, and leaves
    GIANT,         ///< announces a message of 4 GiB and trickles
    FLOOD,         ///< asks for everything and never reads
    RESET          ///< sends a little and resets the connection
};

constexpr size_t kAttacks = 5;

/// Hostile connections to a unit, of all kinds in equal numbers, made again whenever the unit closes them; served by a
/// thread of their own.
class Attackers {
public:
    Attackers(const unit::Endpoint& unit, size_t count);
    ~Attackers();
    Attackers(const Attackers&) = delete;
    Attackers& operator=(const Attackers&) = delete;

    struct Totals {
        std::atomic<uint64_t> connections{0};
        std::atomic<uint64_t> bytesSent{0};
    };
    const Totals& GetTotals() const { return totals_; }

private:
    struct Connection {
        Attack attack;
        int fd = -1;
        uint64_t since = 0;  // ticks at which it was made
        size_t sent = 0;
    };

    void Run();
    void Connect(Connection& connection);
    void Close(Connection& connection, bool withReset);
    void Advance(Connection& connection);
    bool Send(Connection& connection, const char* data, size_t length);

    const unit::Endpoint unit_;
    std::vector<Connection> connections_;
    std::mt19937 random_{20};
    std::string garbage_;
    Totals totals_;
    std::atomic<bool> isEnding_{false};
    std::thread thread_;
};

}  // namespace endurance
