#pragma once

#include <quarn/Accessors.h>
#include <quarn/GPIODirectAccess.h>
#include <quarn/RegisterAccess.h>
#include <quarn/SPIAccess.h>
#include <quarn/sim/SimulatedBoard.h>

#include "fuzz/Fuzz.h"

#include <sys/mman.h>
#include <unistd.h>

namespace quarn::test {

/// Accessors of devices over a small board of their own, without that of I2C.
class BoardAccessors {
public:
    BoardAccessors() : spi_(MakeBoard()) {
        accessors.Add(spi_);
        accessors.Add(gpio_);
        accessors.Add(registers_);
    }

    /// Has the accessors read a file with this text.
    void Configure(const std::string& text) {
        const int file = memfd_create("configuration", MFD_CLOEXEC);
        Require(write(file, text.data(), text.size()) == ssize_t(text.size()), "no room for the file");
        const int next = dup(file);
        close(next);
        accessors.Configure("/proc/self/fd/" + std::to_string(file));
        close(next);  // reading a configuration leaves it open
        close(file);
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
