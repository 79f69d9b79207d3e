#pragma once

#include "endurance/Chore.h"

#include <map>

namespace endurance {

/// A watchdog service that only minds how regularly processes report. What they say, "update NAME PID", is taken as a
/// line of a console.
class WatchdogService final : public quarn::Accessor {
public:
    WatchdogService() { commands_.Add(*this); }
    uint16_t Port() const { return server_.GetPort(); }

    /// Fails when the process has not reported for too long. The first look at it begins to expect reports.
    void LookAt(const std::string& name, bool isReporting = false) {
        const std::lock_guard guard(mutex_);
        const uint64_t now = quarn::Tick();
        uint64_t& last = last_.emplace(name, now).first->second;
        if (now - last > kLimitUs)
            Fail(quarn::Format("%s did not report to its watchdog for %lu ms", name.c_str(),
                               (now - last) / 1000));
        if (isReporting)
            last = now;
    }

    std::set<std::string> GetConsoleCommands(bool) const override { return {"update"}; }
    std::list<std::string> Execute(const std::string&, const std::vector<std::string>& words) override {
        LookAt(words.at(0), true);
        return {};
    }

private:
    static constexpr uint64_t kLimitUs = 2000000;  // eight reports, on a machine that may be busy

    std::mutex mutex_;
    std::map<std::string, uint64_t> last_;  // ticks
    quarn::Accessors commands_;
    const quarn::ConsoleServer server_{nullptr, "", 0, commands_};
};

}  // namespace endurance
