#pragma once

#include <quarn/Debug.h>

#include "unit/Devices.h"
#include "unit/Unit.h"

#include <stdint.h>

#include <string>

namespace unit {

/// What the command line of quarn-unit says.
struct CommandLine {
    CommandLine();

    /// Returns the status to exit with when all that was asked for has been printed (help, the debug categories)
    /// or when an option is wrong, which has been said then; -1 to go on. Throws MonitorException for an address,
    /// a network or a mask that makes no sense.
    int Parse(int argc, char** argv);

    UnitOptions unit;
    DeviceOptions devices;
    std::string board = "simulated";
    quarn::DebugOptions debug;
    std::string logDirectory;  ///< no log files are kept when empty
    uint32_t debugLevel = 0;
};

}  // namespace unit
