#pragma once

#include <quarn/DeviceIO.h>
#include <quarn/GPIOChips.h>
#include <quarn/sim/SimulatedBoard.h>

#include <memory>
#include <string>

namespace unit {

/// The board that the unit's devices are on: a simulated one, or that of the system.
class Board {
public:
    /// "system", "simulated" for the built-in description of a board, or "simulated:FILE" for a description of
    /// one's own. Throws MonitorException for anything else and for a file that cannot be opened.
    explicit Board(const std::string& kind);

    /// A simulated board lets the system have the paths that are not its own, such as a file of settings.
    quarn::DeviceIO& IO() const { return *io_; }
    quarn::GPIOChips& Chips() const { return *chips_; }

private:
    std::unique_ptr<quarn::sim::SimulatedBoard> simulated_;
    quarn::DeviceIO* io_;
    quarn::GPIOChips* chips_;
};

}  // namespace unit
