#include "unit/Board.h"

#include <quarn/MonitorException.h>

namespace unit {

namespace {

const std::string kSystem = "system";
const std::string kSimulated = "simulated";

}  // namespace

Board::Board(const std::string& kind) : io_(&quarn::DeviceIO::System()), chips_(&quarn::GPIOChips::System()) {
    if (kind == kSystem)
        return;
    const bool hasFile = kind.starts_with(kSimulated + ":");
    if (kind != kSimulated && !hasFile)
        throw quarn::MonitorException("There is no board \"%s\": it is \"%s\", \"%s\" or \"%s:FILE\"",
                                      kind.c_str(), kSystem.c_str(), kSimulated.c_str(), kSimulated.c_str());
    simulated_ = std::make_unique<quarn::sim::SimulatedBoard>();
    simulated_->PassOn(quarn::DeviceIO::System());
    if (hasFile)
        simulated_->Load(kind.substr(kSimulated.size() + 1));
    else
        simulated_->AddDefaultDevices();
    io_ = simulated_.get();
    chips_ = simulated_.get();
}

}  // namespace unit
