#pragma once

#include <quarn/WatchdogProxy.h>

#include "common/Endpoint.h"

#include <stdint.h>

#include <memory>
#include <optional>
#include <string>

namespace unit {

/// Reports to a watchdog service from the unit's own cycle, so that a cycle that is stuck is noticed there. A
/// proxy whose connection has ended is replaced a second later.
class Watchdog {
public:
    Watchdog(const std::optional<Endpoint>& service, const std::string& name)
        : service_(service), name_(name) {}

    /// Ticks at which Work() has something to do, UINT64_MAX without a service.
    uint64_t Deadline() const { return service_ ? nextTick_ : UINT64_MAX; }
    void Work();

private:
    const std::optional<Endpoint> service_;
    const std::string name_;
    std::unique_ptr<quarn::WatchdogProxy> proxy_;
    uint64_t nextTick_ = 0;
};

}  // namespace unit
