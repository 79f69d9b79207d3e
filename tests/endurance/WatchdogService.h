#pragma once

#include <quarn/LineTerminal.h>
#include <quarn/TCPListener.h>

#include <stdint.h>

#include <atomic>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace endurance {

/// A watchdog service that only keeps an eye on how regularly processes report.
class WatchdogService {
public:
    WatchdogService();
    ~WatchdogService();
    WatchdogService(const WatchdogService&) = delete;
    WatchdogService& operator=(const WatchdogService&) = delete;

    uint16_t Port() const { return port_; }
    /// The longest time between two reports under the name, up to now; forgotten by the call.
    uint64_t TakeLongestGapUs(const std::string& name);

private:
    struct Client {
        std::unique_ptr<quarn::TCPConnection> connection;
        std::unique_ptr<quarn::LineTerminal> terminal;
    };
    struct Record {
        uint64_t last = 0;
        uint64_t longestGap = 0;
    };

    void Run();
    void Note(const std::string& line);

    quarn::TCPListener listener_;
    const uint16_t port_;
    std::list<Client> clients_;
    std::mutex mutex_;
    std::map<std::string, Record> records_;
    std::atomic<bool> isEnding_{false};
    std::thread thread_;
};

}  // namespace endurance
