#pragma once

#include <quarn/Accessors.h>
#include <quarn/AllowedPeers.h>
#include <quarn/ConsoleServer.h>
#include <quarn/GPIOServer.h>
#include <quarn/I2CAccess.h>
#include <quarn/LockedGPIOAccess.h>
#include <quarn/RegisterAccess.h>
#include <quarn/SPIAccess.h>
#include <quarn/VariableAccess.h>
#include <quarn/WorkerAccess.h>

#include "common/Endpoint.h"
#include "unit/Board.h"
#include "unit/Unit.h"

#include <memory>
#include <optional>
#include <string>

namespace unit {

struct DeviceOptions {
    std::string configuration;           ///< file with the accessors' sections; none when empty
    std::optional<Endpoint> console;     ///< serve the text console there
    std::optional<Endpoint> gpioServer;  ///< serve the GPIO signals to other processes there
    quarn::AllowedPeers allowed;         ///< whom to serve
    std::optional<Endpoint> gpioClient;  ///< use the GPIO signals served there, instead of the board's own
};

/// The devices of the unit's board by name, its workers ("mon") and variables ("var"), on the text console;
/// and its GPIO signals for other processes.
class Devices {
public:
    /// Reads the configuration and serves. The board and the unit, which must have been started, must outlive
    /// this object. Throws MonitorException when the file cannot be read or nothing can listen there; what is
    /// wrong with a line of the file is printed.
    Devices(quarn::Debuggable* parent, Board& board, Unit& unit, const DeviceOptions& options);

    /// Where the console and the GPIO signals are served; 0 when they are not.
    uint16_t GetConsolePort() const { return console_ ? console_->GetPort() : 0; }
    uint16_t GetGPIOPort() const { return gpioServer_ ? gpioServer_->GetPort() : 0; }

private:
    quarn::WorkerAccess workers_;
    quarn::VariableAccess variables_;
    quarn::I2CAccess i2c_;
    quarn::SPIAccess spi_;
    quarn::RegisterAccess registers_;
    const std::unique_ptr<quarn::GPIOAccess> ownGPIO_;
    quarn::LockedGPIOAccess gpio_;
    quarn::Accessors accessors_;
    std::optional<quarn::GPIOServer> gpioServer_;
    std::optional<quarn::ConsoleServer> console_;
};

}  // namespace unit
