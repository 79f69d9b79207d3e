#pragma once

#include <quarn/GPIOChips.h>

#include "Faults.h"

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace quarn::sim {

/// All GPIO chips of a board and the wires between their lines. Every function takes the board's mutex.
class GPIOBank {
public:
    GPIOBank(std::mutex& mutex, Faults& faults) : mutex_(mutex), faults_(faults) {}

    // For those who build the board and look at it; throw MonitorException for what is not there.
    void AddChip(const std::string& label, uint32_t lines);
    void Drive(const std::string& label, uint32_t offset, bool level);
    void Wire(const std::string& label, uint32_t offset, const std::string& otherLabel, uint32_t otherOffset);
    void Hold(const std::string& label, uint32_t offset, const std::string& consumer);
    bool Level(const std::string& label, uint32_t offset) const;
    std::string Consumer(const std::string& label, uint32_t offset) const;
    bool IsOutput(const std::string& label, uint32_t offset) const;

    /// Return false when no chip has the label.
    bool Remove(const std::string& label);
    bool PutBack(const std::string& label);
    /// How many chips are open and how many lines are requested.
    size_t Held() const;

    // The seam.
    int32_t List(std::vector<GPIOChips::ChipName>& chips);
    std::unique_ptr<GPIOChip> OpenChip(const std::string& path);

private:
    class OpenedChip;
    class Lines;

    struct LineId {
        size_t chip;
        uint32_t offset;
        bool operator==(const LineId&) const = default;
    };
    struct Line {
        void Hold(const std::string& consumer);

        bool isDriven = false;  // from outside
        bool driven = false;
        bool isHeld = false;
        std::string consumer;
        bool isOutput = false;
        bool output = false;
        std::vector<LineId> wires;
    };
    struct Chip {
        std::string Name() const;

        size_t number;
        std::string label;
        std::vector<Line> lines;
        bool isAway = false;
        uint64_t removals = 0;  // what was opened before the last one is dead
    };

    /// -1 when there is none.
    ssize_t FindChip(const std::string& label) const;
    LineId Find(const std::string& label, uint32_t offset) const;
    Line& At(LineId id) { return chips_[id.chip].lines[id.offset]; }
    const Line& At(LineId id) const { return chips_[id.chip].lines[id.offset]; }
    bool LevelAt(LineId id) const;

    std::mutex& mutex_;
    Faults& faults_;
    std::vector<Chip> chips_;
    size_t openChips_ = 0;
    size_t requestedLines_ = 0;
};

}  // namespace quarn::sim
