#pragma once

/// A microsecond clock over a counter register of the programmable logic, and on the console as "uclk".
///
///     try {
///         quarn::FpgaMicrosecondClock clock(0xA0000040);
///         accessors.Add(clock);
///         quarn::SyncedClockClient client(nullptr, quarn::IPAddress(), server, 5010, clock);
///         ...
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());  // Could not open /dev/mem: Permission denied
///     }
///
/// The register is only ever read. The adjustment is 0 in every new process. Any thread may read and set the
/// clock; there is no lock. Reading and setting at the same time is safe. Of two threads that set the clock at
/// the same time one wins. Nothing here throws once the clock is made, but for Execute().

#include <quarn/Accessor.h>
#include <quarn/Attributes.h>
#include <quarn/DeviceIO.h>
#include <quarn/SettableMicrosecondClock.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace quarn {

class QUARN_API FpgaMicrosecondClock final : public Accessor, public SettableMicrosecondClock {
public:
    /// Maps the register, whose physical address is a multiple of 4. Throws what MemoryMapping does. The
    /// DeviceIO must outlive the clock.
    explicit FpgaMicrosecondClock(uint64_t physicalBase, DeviceIO& io = DeviceIO::System());
    ~FpgaMicrosecondClock() override;

    uint32_t GetMicrosecondClock() const override;
    uint32_t SetMicrosecondClock(uint32_t time) override;
    uint32_t GetAdjustment() const override;
    void SetAdjustment(uint32_t adjustment);

    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override;
    /// "show", and "check", which takes a millisecond. Throws as SubcommandParserHelper does.
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
