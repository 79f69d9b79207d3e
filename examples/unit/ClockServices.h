#pragma once

#include <quarn/AllowedPeers.h>
#include <quarn/MicrosecondClockSoftware.h>
#include <quarn/SyncedClockClient.h>
#include <quarn/SyncedClockServer.h>

#include "common/Endpoint.h"

#include <stdint.h>

#include <list>
#include <memory>
#include <optional>
#include <string>

namespace unit {

struct ClockOptions {
    std::optional<Endpoint> serve;   ///< tell the time there
    std::optional<Endpoint> follow;  ///< follow the clock that is told there
    uint32_t startUs = 0;  ///< how far ahead of the system's monotonic clock the unit's clock starts
};

/// The unit's microsecond clock, and the services that keep it in step with others.
class ClockServices {
public:
    /// Throws MonitorException when a service that is wanted cannot be had.
    ClockServices(quarn::Debuggable* parent, const ClockOptions& options, const quarn::AllowedPeers& allowed);

    /// How far the unit's clock is ahead of the system's monotonic clock.
    int32_t GetOffsetUs() const { return static_cast<int32_t>(clock_.GetAdjustment()); }
    uint16_t GetServerPort() const { return server_ ? server_->GetPort() : 0; }
    void ReportStatistics(std::list<std::string>& lines);

private:
    quarn::MicrosecondClockSoftware clock_;
    std::unique_ptr<quarn::SyncedClockServer> server_;
    std::unique_ptr<quarn::SyncedClockClient> client_;
};

}  // namespace unit
