#include <quarn/LineTerminal.h>
#include <quarn/LocalTime.h>
#include <quarn/TCPConnection.h>
#include <quarn/Text.h>
#include <quarn/WatchdogProxy.h>

#include <stdint.h>
#include <unistd.h>

#include <mutex>

namespace quarn {

namespace {

constexpr uint64_t kPassIntervalMs = 50;
constexpr uint64_t kUpdateIntervalMs = 250;

// Whether it is less than so many milliseconds ago; 0 is never.
bool IsRecent(uint64_t tick, uint64_t milliseconds) {
    return tick != 0 && MillisecondsSince(tick) < milliseconds;
}

}  // namespace

class WatchdogProxy::Impl {
public:
    Impl(const IPAddress& address, uint16_t port, const std::string& name)
        : connection_(Format("watchdog (%s:%u)", address.ToString().c_str(), port), address, port),
          name_(name) {}

    bool Work() {
        const std::lock_guard guard(mutex_);
        if (IsRecent(lastPass_, kPassIntervalMs))
            return false;
        lastPass_ = Tick();
        if (!Advance() || IsRecent(lastUpdate_, kUpdateIntervalMs))
            return false;
        terminal_.Put(Format("update %s %jd", name_.c_str(), static_cast<intmax_t>(getpid())));
        lastUpdate_ = Tick();
        terminal_.Work();  // sends it now: the next pass may be far off
        return true;
    }

    bool IsAlive() const {
        const std::lock_guard guard(mutex_);
        return connection_.IsAlive();
    }

private:
    // Returns whether updates can pass. A connection that is still being made cannot take any, and one that
    // has ended is left alone, or each pass would print so.
    bool Advance() {
        for (std::string line; terminal_.Get(line);)
            continue;
        return connection_.IsAlive() && terminal_.Work() && connection_.IsConnected();
    }

    mutable std::mutex mutex_;
    TCPConnection connection_;
    LineTerminal terminal_{connection_};
    const std::string name_;
    uint64_t lastPass_ = 0;
    uint64_t lastUpdate_ = 0;
};

WatchdogProxy::WatchdogProxy(const IPAddress& address, uint16_t port, const std::string& name)
    : impl_(std::make_unique<Impl>(address, port, name)) {}
WatchdogProxy::~WatchdogProxy() = default;

bool WatchdogProxy::Work() {
    return impl_->Work();
}
bool WatchdogProxy::IsAlive() const {
    return impl_->IsAlive();
}

}  // namespace quarn
