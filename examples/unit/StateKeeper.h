#pragma once

#include <quarn/PersistentStorage.h>
#include <quarn/VariableIndex.h>

#include <stdint.h>

#include <string>
#include <vector>

namespace unit {

struct StateOptions {
    /// Each "FILE", "eeprom:PATH" or "mtd:NAME".
    std::vector<std::string> devices;
    uint64_t blockSize = 0;
    uint32_t dataVersion = 1;
    uint64_t intervalMs = 1000;  ///< the least time between saves
};

/// Keeps the persistent variables of an index on the devices of a storage.
class StateKeeper {
public:
    /// Adds the devices and loads what they hold. Throws MonitorException for a device that cannot be had.
    StateKeeper(const StateOptions& options, quarn::VariableIndex& index, quarn::DeviceIO& io);

    /// A persistent variable has changed; it is saved as soon as the interval allows.
    void NoteChange() { changed_ = isKept_; }
    /// Ticks at which a save is due, UINT64_MAX when none is.
    uint64_t Deadline() const;
    void SaveIfDue();
    /// Whether it is due or not, but not when nothing has changed.
    void SaveNow();

private:
    void Add(const std::string& device);
    void AddEEPROM(const std::string& path);
    void AddFile(const std::string& path);
    void WarnIfTooLarge() const;

    const StateOptions options_;
    quarn::VariableIndex& index_;
    quarn::PersistentStorage storage_;
    const bool isKept_;
    bool changed_ = false;
    uint64_t lastSaveTick_ = 0;
};

}  // namespace unit
