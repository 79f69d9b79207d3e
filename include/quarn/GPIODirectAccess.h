#pragma once

/// The GPIO lines of the board by name, held by this process: for programs, and on the console.
///
///     quarn::GPIODirectAccess gpio("gpio", "gpio");
///     accessors.Add(gpio);
///     accessors.Configure("/etc/unit.conf");
///     try {
///         gpio.Set("led", 1);
///         printf("%u\n", gpio.Get("slot"));
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());  // GPIO: unknown signal led
///     }
///
/// Signals come from the lines of a configuration section, one a line: the label of the GPIO chip, the offsets
/// of the lines on it, the setting and the names. The setting is "in", "bi" for a signal that is an input until
/// it is set, or the initial value of an output.
///
///     [gpio]
///     ff0a0000.gpio 3   0  led front
///     ff0a0000.gpio 7:4 in slot
///     ff0a0000.gpio 8,9 bi option
///
/// Names and their aliases share one name space. The first offset is the most significant bit of the value.
///
/// A bidirectional signal drives its lines from when it is set until it is read; reading turns it to input
/// first, and so does a console command that shows its value.
///
/// There is no lock: no signal may be used from two threads at once, the console's included.

#include <quarn/Attributes.h>
#include <quarn/GPIOAccess.h>
#include <quarn/GPIOChips.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace quarn {

class QUARN_API GPIODirectAccess final : public GPIOAccess {
public:
    /// Looks for the chips; one that appears later is not found. `section` names the configuration section and
    /// `command` the console command; they may be the same. Throws MonitorException "GPIO: gpio_chip_iter_new
    /// failed: %s". The GPIOChips must outlive this object.
    GPIODirectAccess(const std::string& section, const std::string& command,
                     GPIOChips& chips = GPIOChips::System());
    /// Releases the lines, then closes the chips. What becomes of an output's level is up to the chip's driver.
    ~GPIODirectAccess() override;

    /// The value on the lines, whatever the direction. Throws "GPIO: unknown signal %s", "GPIO:
    /// gpiod_line_set_direction_input_bulk failed for %s: %s" and "GPIO: gpiod_line_get_value_bulk failed for
    /// %s: %s".
    uint32_t Get(const std::string& name) override;
    /// Throws "GPIO: unknown signal %s", "GPIO: signal %s is not an output or bidirectional", "GPIO: cannot set
    /// %u-bit signal %s to 0x%u" (deliberately with the decimal value), "GPIO:
    /// gpiod_line_set_direction_output_bulk failed for %s: %s" and "GPIO: gpiod_line_set_value_bulk failed for
    /// %s: %s"; then nothing has changed.
    void Set(const std::string& name, uint32_t value) override;

    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override;
    std::set<std::string> GetConfigurationSections() const override;
    /// Adds a signal and takes its lines. Of an initial value only the bits that the signal has are used; others
    /// are printed with mask WARN. Every failure is a MonitorException whose message begins with "GPIO", and
    /// adds nothing and takes no line; only a chip that was opened stays open.
    void Configure(const std::string& section, const std::vector<std::string>& words) override;
    /// The command without words tells what it takes. Throws what Get() and Set() do, "GPIO: too many words in
    /// command", "GPIO: cannot set multiple signals at once" and "GPIO: bad value".
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
