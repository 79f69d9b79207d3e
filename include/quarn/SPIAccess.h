#pragma once

/// Devices on the board's SPI buses by name: for programs, and on the console as "spi".
///
///     quarn::SPIAccess spi;
///     accessors.Add(spi);
///     accessors.Configure("/etc/unit.conf");
///     try {
///         spi.SetSpiMode("dac", 3);
///         spi.Transact("dac", {0x30, 0x7F, 0xFF});
///         const std::vector<uint8_t> id = spi.Transact3Wire("flash", {0x9F}, 3);
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());  // SPI transaction failed on spidev1.0: ...
///     }
///
/// Devices come from the lines of the configuration section "spi", one a line: the node and the name.
///
///     [spi]
///     spidev1.0 dac
///     spidev1.1 flash
///
/// Speed, word size and delays are those that the kernel knows for the node.
///
/// There is no lock. One process owns a node, and calls for one device from several threads are serialised by
/// the caller; those for different devices need not be. Configuration comes before all of them.

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

class QUARN_API SPIAccess final : public Accessor {
public:
    /// The DeviceIO must outlive this object.
    explicit SPIAccess(DeviceIO& io = DeviceIO::System());
    /// Closes the nodes; a failure is printed with mask ERR: "SPI: could not close /dev/%s: %s".
    ~SPIAccess() override;

    // Each of these throws "SPI: unknown device \"%s\"". What goes one way in one transaction is at most the
    // kernel's transfer size (the parameter "bufsiz" of its module spidev, 4096 bytes unless set otherwise);
    // more fails as the kernel has it: "SPI transaction failed on %s: Message too long".

    /// Sends the bytes and returns as many that were received meanwhile. Throws "SPI transaction length cannot
    /// be zero", "SPI transaction failed on %s: %s".
    std::vector<uint8_t> Transact(const std::string& device, const std::vector<uint8_t>& bytes);
    /// Sends the bytes, if any, then reads so many, if any, with the device selected throughout; returns what
    /// was read. Throws what Transact() throws.
    std::vector<uint8_t> Transact3Wire(const std::string& device, const std::vector<uint8_t>& bytes,
                                       size_t count);

    /// Sets the node's mode, 0 to 3: the clock's phase in bit 0, its polarity in bit 1. Every other setting of
    /// the kind is cleared, such as bits in reverse order. 4 is deliberately let through: mode 0 with a chip
    /// select that is active when high. Throws "Invalid SPI mode", "SPI set mode failed on %s: %s".
    void SetSpiMode(const std::string& device, uint8_t mode);
    /// The node's mode bits, as the kernel defines them: those it had when it was opened, or set since.
    uint32_t GetSpiMode(const std::string& device) const;

    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override;
    std::set<std::string> GetConfigurationSections() const override;
    /// Adds a device and opens its node. Throws "SPI: wrong number of fields", "SPI: Attempt to add duplicate
    /// device \"%s\"", "SPI: Attempt to add duplicate node %s\"" (with one quote), "SPI: Could not open SPI
    /// node device %s: %s", "SPI get mode failed on %s: %s"; then nothing was added or left open.
    void Configure(const std::string& section, const std::vector<std::string>& words) override;
    /// The command without words tells what it takes. Throws what transactions and the parsers of numbers
    /// throw, and complaints about the line, which begin with "SPI: ".
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
