#include "unit/Devices.h"

#include <quarn/GPIODirectAccess.h>
#include <quarn/GPIOIndirectAccess.h>

namespace unit {

namespace {

std::unique_ptr<quarn::GPIOAccess> CreateGPIO(Board& board, const DeviceOptions& options) {
    if (options.gpioClient)
        return std::make_unique<quarn::GPIOIndirectAccess>(options.gpioClient->address,
                                                           options.gpioClient->port, "gpio");
    return std::make_unique<quarn::GPIODirectAccess>("gpio", "gpio", board.Chips());
}

}  // namespace

Devices::Devices(quarn::Debuggable* parent, Board& board, Unit& unit, const DeviceOptions& options)
    : variables_(unit.Variables(), &unit),
      i2c_(board.IO()),
      spi_(board.IO()),
      registers_(board.IO()),
      ownGPIO_(CreateGPIO(board, options)),
      gpio_(*ownGPIO_) {
    for (quarn::Accessor* accessor :
         std::initializer_list<quarn::Accessor*>{&workers_, &variables_, &i2c_, &spi_, &registers_, &gpio_})
        accessors_.Add(*accessor);
    if (!options.configuration.empty())
        accessors_.Configure(options.configuration);
    if (options.gpioServer)
        gpioServer_.emplace(parent, options.gpioServer->address.ToString(), options.gpioServer->port, gpio_,
                            options.allowed);
    if (options.console)
        console_.emplace(parent, options.console->address.ToString(), options.console->port, accessors_,
                         options.allowed);
}

}  // namespace unit
