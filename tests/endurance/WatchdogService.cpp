#include "endurance/WatchdogService.h"

#include <quarn/LocalTime.h>
#include <quarn/Parse.h>
#include <quarn/TCPConnection.h>

#include <poll.h>

#include <algorithm>
#include <vector>

namespace endurance {

namespace {

constexpr int kPollMs = 100;

}  // namespace

WatchdogService::WatchdogService()
    : listener_(quarn::IPAddress(std::string("127.0.0.1")), 0),
      port_(listener_.GetPort()),
      thread_([this] { Run(); }) {}

WatchdogService::~WatchdogService() {
    isEnding_ = true;
    thread_.join();
}

uint64_t WatchdogService::TakeLongestGapUs(const std::string& name) {
    const std::lock_guard guard(mutex_);
    Record& record = records_[name];
    const uint64_t longest = std::max(record.longestGap, record.last == 0 ? 0 : quarn::Tick() - record.last);
    record.longestGap = 0;
    return longest;
}

void WatchdogService::Run() {
    while (!isEnding_) {
        std::vector<pollfd> fds = {{listener_.Socket(), POLLIN, 0}};
        for (const Client& client : clients_)
            fds.push_back({client.terminal->Socket(), POLLIN, 0});
        poll(fds.data(), fds.size(), kPollMs);
        while (quarn::TCPConnection* const connection = listener_.Accept("watched ($peer$)")) {
            std::unique_ptr<quarn::TCPConnection> owned(connection);
            auto terminal = std::make_unique<quarn::LineTerminal>(*owned);
            clients_.push_back({std::move(owned), std::move(terminal)});
        }
        for (auto client = clients_.begin(); client != clients_.end();) {
            const bool isAlive = client->terminal->Work();
            std::string line;
            while (client->terminal->Get(line))
                Note(line);
            client = isAlive ? std::next(client) : clients_.erase(client);
        }
    }
}

void WatchdogService::Note(const std::string& line) {
    const std::vector<std::string> words = quarn::Tokenize(line);
    if (words.size() != 3 || words[0] != "update")
        return;
    const std::lock_guard guard(mutex_);
    Record& record = records_[words[1]];
    const uint64_t now = quarn::Tick();
    if (record.last != 0)
        record.longestGap = std::max(record.longestGap, now - record.last);
    record.last = now;
}

}  // namespace endurance
