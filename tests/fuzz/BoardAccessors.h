#pragma once

#include <quarn/Accessors.h>
#include <quarn/GPIODirectAccess.h>
#include <quarn/I2CAccess.h>
#include <quarn/RegisterAccess.h>
#include <quarn/SPIAccess.h>
#include <quarn/sim/SimulatedBoard.h>

#include "fuzz/Fuzz.h"

#include <sys/mman.h>
#include <unistd.h>

namespace quarn::test {

/// Keeps an I2CAccess to the buses that there are: a bus leaves the file of its lock behind, whether it opens or not.
class I2CAccessOfBoard final : public Accessor {
public:
    explicit I2CAccessOfBoard(DeviceIO& io) : i2c_(io) {}

    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override {
        return i2c_.GetConsoleCommands(withDescriptions);
    }
    std::set<std::string> GetConfigurationSections() const override {
        return i2c_.GetConfigurationSections();
    }
    void Configure(const std::string& section, const std::vector<std::string>& words) override {
        if (words.size() != 3 || words[0] == "i2c-0" || words[0] == "i2c-1")
            i2c_.Configure(section, words);
    }
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override {
        return i2c_.Execute(command, words);
    }

private:
    I2CAccess i2c_;
};

/// Every accessor of devices, over a small board of its own.
class BoardAccessors {
public:
    BoardAccessors() : i2c_(MakeBoard()) {
        accessors.Add(i2c_);
        accessors.Add(spi_);
        accessors.Add(gpio_);
        accessors.Add(registers_);
    }

    /// Has the accessors read a file with this text. Returns its path.
    std::string Configure(const std::string& text) {
        const int file = memfd_create("configuration", MFD_CLOEXEC);
        Require(write(file, text.data(), text.size()) == ssize_t(text.size()), "no room for the file");
        const std::string path = "/proc/self/fd/" + std::to_string(file);
        const int next = dup(file);
        close(next);
        accessors.Configure(path);
        close(next);  // reading a configuration leaves it open
        close(file);
        return path;
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

    I2CAccessOfBoard i2c_;
    SPIAccess spi_{board};
    GPIODirectAccess gpio_{"gpio", "gpio", board};
    RegisterAccess registers_{board};
};

}  // namespace quarn::test
