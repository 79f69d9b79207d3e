#pragma once

/// A microsecond clock over a timer block of the processor, and on the console as "sch".
///
///     try {
///         quarn::MicrosecondClockHardware clock(0xFF110000);
///         accessors.Add(clock);
///         quarn::SyncedClockServer server(nullptr, address, 5010, clock);
///         ...
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());  // Could not open /dev/mem: Permission denied
///     }
///
/// The block is a triple timer counter of the Zynq UltraScale+ (described in its technical reference manual).
/// Counter 1 divides the input clock by 26, and counter 2 counts the result, 32 bits wide. A block that is set
/// up so already is left running, so that a restart of the process does not disturb the time base; only the
/// adjustment starts at 0 again.
///
/// Any thread may read and set the clock; there is no lock. Reading and setting at the same time is safe. Of
/// two threads that set the clock at the same time one wins. Nothing here throws once the clock is made, but
/// for Execute().

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

class QUARN_API MicrosecondClockHardware final : public Accessor, public SettableMicrosecondClock {
public:
    /// Maps the block, whose physical address is a multiple of 4, and sets it up if need be. Throws what
    /// MemoryMapping does. The DeviceIO must outlive the clock.
    explicit MicrosecondClockHardware(uint64_t physicalBase, DeviceIO& io = DeviceIO::System());
    ~MicrosecondClockHardware() override;

    uint32_t GetMicrosecondClock() const override;
    uint32_t SetMicrosecondClock(uint32_t time) override;
    uint32_t GetAdjustment() const override;
    void SetAdjustment(uint32_t adjustment);

    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override;
    /// "show", "raw", and "check", which takes a millisecond. Throws as SubcommandParserHelper does.
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
