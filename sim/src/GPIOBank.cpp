#include "GPIOBank.h"

#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include <algorithm>

namespace quarn::sim {

namespace {

constexpr uint32_t kMostLines = 1024;
constexpr size_t kLongestConsumer = 31;
constexpr char kNamelessConsumer[] = "?";

}  // namespace

std::string GPIOBank::Chip::Name() const {
    return Format("gpiochip%zu", number);
}

void GPIOBank::Line::Hold(const std::string& name) {
    isHeld = true;
    consumer = name.empty() ? kNamelessConsumer : name.substr(0, kLongestConsumer);
}

ssize_t GPIOBank::FindChip(const std::string& label) const {
    for (const Chip& chip : chips_)
        if (chip.label == label)
            return ssize_t(chip.number);
    return -1;
}

GPIOBank::LineId GPIOBank::Find(const std::string& label, uint32_t offset) const {
    const ssize_t chip = FindChip(label);
    if (chip < 0)
        throw MonitorException("SIM: no GPIO chip \"%s\"", label.c_str());
    if (offset >= chips_[size_t(chip)].lines.size())
        throw MonitorException("SIM: no line %u on GPIO chip \"%s\"", offset, label.c_str());
    return {size_t(chip), offset};
}

void GPIOBank::AddChip(const std::string& label, uint32_t lines) {
    const std::lock_guard lock(mutex_);
    if (lines == 0 || lines > kMostLines)
        throw MonitorException("SIM: a GPIO chip has 1 to %u lines", kMostLines);
    if (FindChip(label) >= 0)
        throw MonitorException("SIM: there is a GPIO chip \"%s\" already", label.c_str());
    chips_.push_back({chips_.size(), label, std::vector<Line>(lines)});
}

void GPIOBank::Drive(const std::string& label, uint32_t offset, bool level) {
    const std::lock_guard lock(mutex_);
    Line& line = At(Find(label, offset));
    line.isDriven = true;
    line.driven = level;
}

void GPIOBank::Wire(const std::string& label, uint32_t offset, const std::string& otherLabel,
                    uint32_t otherOffset) {
    const std::lock_guard lock(mutex_);
    const LineId one = Find(label, offset);
    const LineId other = Find(otherLabel, otherOffset);
    At(one).wires.push_back(other);
    At(other).wires.push_back(one);
}

void GPIOBank::Hold(const std::string& label, uint32_t offset, const std::string& consumer) {
    const std::lock_guard lock(mutex_);
    Line& line = At(Find(label, offset));
    if (line.isHeld)
        throw MonitorException("SIM: line %u on GPIO chip \"%s\" is held already", offset, label.c_str());
    line.Hold(consumer);
}

bool GPIOBank::Level(const std::string& label, uint32_t offset) const {
    const std::lock_guard lock(mutex_);
    return LevelAt(Find(label, offset));
}

std::string GPIOBank::Consumer(const std::string& label, uint32_t offset) const {
    const std::lock_guard lock(mutex_);
    return At(Find(label, offset)).consumer;
}

bool GPIOBank::IsOutput(const std::string& label, uint32_t offset) const {
    const std::lock_guard lock(mutex_);
    return At(Find(label, offset)).isOutput;
}

/// Of all lines that wires join, those driven from outside count before outputs, and low before high.
bool GPIOBank::LevelAt(LineId id) const {
    std::vector<LineId> joined = {id};
    bool isDriven = false, driven = true, isOutput = false, output = true;
    for (size_t i = 0; i < joined.size(); ++i) {
        const Line& line = At(joined[i]);
        isDriven = isDriven || line.isDriven;
        driven = driven && (!line.isDriven || line.driven);
        isOutput = isOutput || line.isOutput;
        output = output && (!line.isOutput || line.output);
        for (const LineId& next : line.wires)
            if (std::find(joined.begin(), joined.end(), next) == joined.end())
                joined.push_back(next);
    }
    return isDriven ? driven : isOutput && output;
}

bool GPIOBank::Remove(const std::string& label) {
    const std::lock_guard lock(mutex_);
    const ssize_t found = FindChip(label);
    if (found < 0)
        return false;
    Chip& chip = chips_[size_t(found)];
    chip.isAway = true;
    ++chip.removals;
    for (Line& line : chip.lines) {
        line.isHeld = line.isOutput = false;
        line.consumer.clear();
    }
    return true;
}

bool GPIOBank::PutBack(const std::string& label) {
    const std::lock_guard lock(mutex_);
    const ssize_t found = FindChip(label);
    if (found >= 0)
        chips_[size_t(found)].isAway = false;
    return found >= 0;
}

size_t GPIOBank::Held() const {
    const std::lock_guard lock(mutex_);
    return openChips_ + requestedLines_;
}

int32_t GPIOBank::List(std::vector<GPIOChips::ChipName>& chips) {
    const std::lock_guard lock(mutex_);
    if (faults_.Strike(Call::LIST_CHIPS))
        return -1;
    chips.clear();
    for (const Chip& chip : chips_)
        if (!chip.isAway)
            chips.push_back({chip.Name(), chip.label});
    return 0;
}

}  // namespace quarn::sim
