#pragma once

/// One GPIOAccess for several threads, such as those of a console and of a GPIOServer: each call of the one
/// behind it runs alone.
///
///     quarn::GPIODirectAccess lines("gpio", "gpio");
///     quarn::LockedGPIOAccess gpio(lines);
///     accessors.Add(gpio);
///     try {
///         quarn::GPIOServer server(nullptr, "", 7500, gpio);
///         quarn::ConsoleServer console(nullptr, "", 5100, accessors);
///         ...
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///
/// Any thread may call any function at any time, and waits for the calls before its own.

#include <quarn/Attributes.h>
#include <quarn/GPIOAccess.h>

#include <stdint.h>

#include <list>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace quarn {

class QUARN_API LockedGPIOAccess final : public GPIOAccess {
public:
    /// `gpio` must outlive this object; nobody uses it in any other way from now on.
    explicit LockedGPIOAccess(GPIOAccess& gpio) : gpio_(gpio) {}

    // Each as the other one's.
    uint32_t Get(const std::string& name) override;
    void Set(const std::string& name, uint32_t value) override;
    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override;
    std::set<std::string> GetConfigurationSections() const override;
    void Configure(const std::string& section, const std::vector<std::string>& words) override;
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override;
    void GetStatistics(std::list<std::string>& lines) override;
    void ClearStatistics() override;

private:
    GPIOAccess& gpio_;
    mutable std::mutex mutex_;
};

}  // namespace quarn
