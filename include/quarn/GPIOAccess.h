#pragma once

/// The GPIO signals of a board by name, whoever holds the lines: this process (GPIODirectAccess) or another one
/// that serves them (GPIOIndirectAccess).
///
///     void Mute(quarn::GPIOAccess& gpio, bool isOn) {
///         try {
///             gpio.Set("mute", isOn);
///             printf("%u\n", gpio.Get("mute"));
///         } catch (const quarn::MonitorException& e) {
///             fprintf(stderr, "%s\n", e.Description().c_str());
///         }
///     }
///
/// A signal of several lines is a group: its lines together are one unsigned number, the first of them being
/// the most significant bit.
///
/// Execute() takes any word for the console command, unless it is another of the accessor's: it only appears in
/// usage texts. A GPIOServer hands on the word that its client's console has.

#include <quarn/Accessor.h>
#include <quarn/Attributes.h>

#include <stdint.h>

#include <set>
#include <string>

namespace quarn {

class QUARN_API GPIOAccess : public Accessor {
public:
    /// The value of a signal, by name or alias. Throws MonitorException on failure.
    virtual uint32_t Get(const std::string& name) = 0;
    /// Sets an output or a bidirectional signal, by name or alias. Throws MonitorException on failure.
    virtual void Set(const std::string& name, uint32_t value) = 0;

    /// None.
    std::set<std::string> GetConfigurationSections() const override;
};

}  // namespace quarn
