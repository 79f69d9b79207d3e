#include "unit/ClockServices.h"

#include <quarn/MonitorException.h>

namespace unit {

ClockServices::ClockServices(quarn::Debuggable* parent, const ClockOptions& options,
                             const quarn::AllowedPeers& allowed) {
    clock_.SetAdjustment(options.startUs);
    if (options.serve) {
        server_ = std::make_unique<quarn::SyncedClockServer>(parent, options.serve->address,
                                                             options.serve->port, clock_, allowed);
        if (server_->GetPort() == 0)
            throw quarn::MonitorException("Cannot tell the time at %s", options.serve->ToString().c_str());
    }
    if (options.follow) {
        client_ = std::make_unique<quarn::SyncedClockClient>(
            parent, quarn::IPAddress(), options.follow->address, options.follow->port, clock_);
        if (client_->GetLocalPort() == 0)
            throw quarn::MonitorException("Cannot follow the clock at %s",
                                          options.follow->ToString().c_str());
    }
}

void ClockServices::ReportStatistics(std::list<std::string>& lines) {
    if (server_)
        server_->ReportStatistics(lines);
    if (client_)
        client_->ReportStatistics(lines);
}

}  // namespace unit
