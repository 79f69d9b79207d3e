#include "unit/Watchdog.h"

#include <quarn/Debug.h>
#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>

namespace unit {

namespace {

constexpr uint64_t kPassUs = 60000;  // a proxy skips passes within 50 ms
constexpr uint64_t kRetryUs = 1000000;

}  // namespace

void Watchdog::Work() {
    if (quarn::Tick() < Deadline())
        return;
    nextTick_ = quarn::Tick() + kPassUs;
    try {
        if (!proxy_)
            proxy_ = std::make_unique<quarn::WatchdogProxy>(service_->address, service_->port, name_);
        proxy_->Work();
        if (proxy_->IsAlive())
            return;
    } catch (const quarn::MonitorException& e) {
        if (quarn::DefaultDebug())
            quarn::DefaultDebug()->Printf(quarn::DEBUG_ERR, __FILE__, __LINE__,
                                          "Cannot report to the watchdog: %s", e.Description().c_str());
    }
    proxy_.reset();
    nextTick_ = quarn::Tick() + kRetryUs;
}

}  // namespace unit
