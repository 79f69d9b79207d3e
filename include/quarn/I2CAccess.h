#pragma once

/// Devices on the board's I2C buses by name: for programs, and on the console as "i2c".
///
///     quarn::I2CAccess i2c;
///     accessors.Add(i2c);
///     accessors.Configure("/etc/unit.conf");
///     try {
///         i2c.WriteRegisters("pll", 0x10, {0x80, 0x01});
///         while ((i2c.ReadRegister("pll", 0x00) & 1) == 0)
///             Wait();
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());  // I2C: error writing to i2c-1 (for pll): ...
///     }
///
/// Devices come from the lines of the configuration section "i2c", one a line: the bus, the 7-bit address, the
/// name.
///
///     [i2c]
///     i2c-1 0x68 pll
///     i2c-1 0x50 eeprom
///
/// A transfer has the bus to itself: it selects the device's address and moves the bytes under the bus's lock,
/// which keeps apart the threads of this process and, as the NamedLock of the bus's name, processes. A read or
/// write that the busy bus refuses (EAGAIN) is repeated at once, up to 5 times, and the repetitions are printed
/// with mask ERR: "I2C: %d retr%s reading from %s (for %s)".
///
/// Transfers may come from any thread once the configuration has been read.

#include <quarn/Accessor.h>
#include <quarn/Attributes.h>
#include <quarn/DeviceIO.h>

#include <stddef.h>
#include <stdint.h>

#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace quarn {

class QUARN_API I2CAccess final : public Accessor {
public:
    /// The DeviceIO must outlive this object.
    explicit I2CAccess(DeviceIO& io = DeviceIO::System());
    /// Closes the buses; a failure is printed with mask ERR: "I2C: could not close /dev/%s: %s".
    ~I2CAccess() override;

    // Each transfer throws "I2C: unknown device \"%s\""; what NamedLock::Lock() throws when another process
    // keeps the bus for more than 100 ms; "I2C: failed to set device address on %s (for %s)" (a driver of the
    // kernel has the device, usually), which deliberately leaves the bus locked for others until this object's
    // next transfer on it; "I2C: error ... %s (for %s): %s" with the system's text; and "I2C: read %zd of %zu
    // bytes from %s (for %s)" or "I2C: wrote ...", when fewer bytes were moved. A failure of the transfer
    // itself leaves the bus unlocked.

    /// As many bytes as asked for, in one read. The kernel moves at most 8192.
    std::vector<uint8_t> Read(const std::string& device, size_t count);
    /// All bytes in one write. The kernel moves at most 8192.
    void Write(const std::string& device, const std::vector<uint8_t>& bytes);

    /// Writes the register's address and reads its byte. Between the two other users are kept out, but the bus
    /// sees a stop: this is not for devices that forget the address then. Allocates nothing.
    uint8_t ReadRegister(const std::string& device, uint8_t reg);
    /// The same with one read of so many bytes; what follows the first register is the device's affair.
    std::vector<uint8_t> ReadRegisters(const std::string& device, uint8_t first, size_t count);
    /// Writes the register's address and the value in one write. Allocates nothing.
    void WriteRegister(const std::string& device, uint8_t reg, uint8_t value);
    /// Writes the first register's address and all bytes in one write.
    void WriteRegisters(const std::string& device, uint8_t first, const std::vector<uint8_t>& bytes);

    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override;
    std::set<std::string> GetConfigurationSections() const override;
    /// Adds a device and, when it is the first on its bus, opens the bus, creating the file of its lock. Throws
    /// "I2C: wrong number of fields", "I2C: bad 7-bit device address", "I2C: Attempt to add duplicate device
    /// \"%s\"", "I2C: Could not open I2C bus device %s: %s" and what the constructor of NamedLock throws; then
    /// nothing was added.
    void Configure(const std::string& section, const std::vector<std::string>& words) override;
    /// The command without words tells what it takes. Throws what transfers and the parsers of numbers throw,
    /// and complaints about the line, which begin with "I2C: ".
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
