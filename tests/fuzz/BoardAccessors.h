#pragma once

#include <quarn/Accessors.h>
#include <quarn/GPIODirectAccess.h>
#include <quarn/RegisterAccess.h>
#include <quarn/SPIAccess.h>
#include <quarn/sim/SimulatedBoard.h>

#include "fuzz/Fuzz.h"
#include "support/TempDirectory.h"

#include <unistd.h>

namespace quarn::test {

/// Accessors of devices over a small board of their own. That of I2C is not among them: whatever bus a configuration names
/// leaves the file of its lock behind.
class BoardAccessors {
public:
    BoardAccessors() : spi_(MakeBoard()) {
        accessors.Add(spi_);
        accessors.Add(gpio_);
        accessors.Add(registers_);
    }

    /// Has the accessors read a file with this text.
    void Configure(const std::string& text) {
        static const TempDirectory directory;
        directory.Write("configuration", text);
        const int next = dup(STDERR_FILENO);
        close(next);
        accessors.Configure(directory.File("configuration"));
        close(next);  // reading a configuration leaves it open
    }

    sim::SimulatedBoard board;
    Accessors accessors;

private:
    sim::SimulatedBoard& MakeBoard() {
        board.AddI2CRegisters("i2c-0", 0x21, 64);
        board.AddI2CEEPROM("i2c-1", 0x50, 256, 16);
        board.AddSPILoopback("spidev0.0");
        board.AddSPIShiftRegister("spidev0.1", 3);
        board.AddGPIOChip("main", 16);
        board.WireLines("main", 0, "main", 1);
        board.AddMemory(0xA0000000, 4096);
        return board;
    }

    SPIAccess spi_;
    GPIODirectAccess gpio_{"gpio", "gpio", board};
    RegisterAccess registers_{board};
};

}  // namespace quarn::test
