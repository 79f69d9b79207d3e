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
#include <utility>

namespace endurance {

/// A watchdog service that only keeps an eye on how regularly processes report.
class WatchdogService {
public:
    uint16_t Port() const { return listener_.GetPort(); }
    /// From now on a process of the name should report.
    void Expect(const std::string& name) {
        const std::lock_guard guard(mutex_);
        records_[name] = {quarn::Tick(), 0};
    }
    /// The longest time without a report under the name since the call before.
    uint64_t TakeLongestGapUs(const std::string& name) {
        const std::lock_guard guard(mutex_);
        return std::exchange(records_[name].longestGap, 0);
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
        if (std::unique_ptr<quarn::TCPConnection> accepted{listener_.Accept("watched ($peer$)")}) {
            auto terminal = std::make_unique<quarn::LineTerminal>(*accepted);
            clients_.push_back({std::move(accepted), std::move(terminal)});
        }
        const std::lock_guard guard(mutex_);
        for (auto& [name, record] : records_)
            record.longestGap = std::max(record.longestGap, quarn::Tick() - record.last);
        std::erase_if(clients_, [this](Client& client) {
            const bool isAlive = client.terminal->Work();
            for (std::string line; client.terminal->Get(line);) {
                const std::vector<std::string> words = quarn::Tokenize(line);
                if (words.size() == 3 && words[0] == "update")
                    records_[words[1]].last = quarn::Tick();
            }
            return !isAlive;
        });
    }

    quarn::TCPListener listener_{quarn::IPAddress(std::string("127.0.0.1")), 0};
    std::list<Client> clients_;
    std::mutex mutex_;
    std::map<std::string, Record> records_;
    Chore chore_{"watchdog service", 10, [this] { Serve(); }};
};

}  // namespace endurance
