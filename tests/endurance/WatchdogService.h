#pragma once

#include <quarn/LineTerminal.h>
#include <quarn/LocalTime.h>
#include <quarn/Parse.h>
#include <quarn/TCPConnection.h>
#include <quarn/TCPListener.h>

#include "endurance/Chore.h"

#include <algorithm>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace endurance {

/// A watchdog service that only keeps an eye on how regularly processes report.
class WatchdogService {
public:
    uint16_t Port() const { return port_; }
    /// The longest time between two reports under the name, up to now; forgotten by the call.
    uint64_t TakeLongestGapUs(const std::string& name) {
        const std::lock_guard guard(mutex_);
        Record& record = records_[name];
        const uint64_t sinceLast = record.last == 0 ? 0 : quarn::Tick() - record.last;
        return std::max(std::exchange(record.longestGap, 0), sinceLast);
    }

private:
    struct Client {
        std::unique_ptr<quarn::TCPConnection> connection;
        std::unique_ptr<quarn::LineTerminal> terminal;
    };
    struct Record {
        uint64_t last = 0;
        uint64_t longestGap = 0;
    };

    void Serve() {
        while (quarn::TCPConnection* const connection = listener_.Accept("watched ($peer$)")) {
            std::unique_ptr<quarn::TCPConnection> owned(connection);
            auto terminal = std::make_unique<quarn::LineTerminal>(*owned);
            clients_.push_back({std::move(owned), std::move(terminal)});
        }
        std::erase_if(clients_, [this](Client& client) {
            const bool isAlive = client.terminal->Work();
            for (std::string line; client.terminal->Get(line);)
                Note(quarn::Tokenize(line));
            return !isAlive;
        });
    }
    void Note(const std::vector<std::string>& words) {
        if (words.size() != 3 || words[0] != "update")
            return;
        const std::lock_guard guard(mutex_);
        Record& record = records_[words[1]];
        const uint64_t now = quarn::Tick();
        if (record.last != 0)
            record.longestGap = std::max(record.longestGap, now - record.last);
        record.last = now;
    }

    quarn::TCPListener listener_{quarn::IPAddress(std::string("127.0.0.1")), 0};
    const uint16_t port_ = listener_.GetPort();
    std::list<Client> clients_;
    std::mutex mutex_;
    std::map<std::string, Record> records_;
    Chore chore_{"watchdog service", 10, [this] { Serve(); }};
};

}  // namespace endurance
