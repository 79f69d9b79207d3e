#include "devices/GPIOGroup.h"

#include <quarn/Debug.h>
#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/Text.h>

#include "foundation/ErrnoText.h"

#include <errno.h>

#include <utility>

namespace quarn {

namespace {

constexpr uint32_t kValueBits = 32;
constexpr uint32_t kHighestOffset = 31;
constexpr char kRangeCharacter = ':';

std::vector<uint32_t> ParseOffsets(const std::string& text) {
    std::vector<uint32_t> offsets;
    try {
        offsets = ParseU32RangeList(text, kHighestOffset, kValueBits, kRangeCharacter);
    } catch (const MonitorException& e) {
        throw MonitorException("GPIO: bad line offset: %s", e.Description().c_str());
    }
    if (offsets.empty())
        throw MonitorException("GPIO: bad line offset: Range list is empty");
    return offsets;
}

uint32_t ParseInitialValue(const std::string& text) {
    try {
        return ParseU32(text, 0);
    } catch (const MonitorException&) {
        throw MonitorException("GPIO: bad line setting");
    }
}

bool Fits(uint32_t value, uint32_t width) {
    return width >= kValueBits || value >> width == 0;
}

/// With the error of the call that failed last.
[[noreturn]] void ThrowLineFailure(const char* action, const GPIOSignal& signal) {
    const int error = errno;
    throw MonitorException("GPIO: could not %s line%s %s on %s: %s", action, signal.Width() == 1 ? "" : "s",
                           signal.OffsetList().c_str(), signal.label.c_str(), ErrnoText(error).c_str());
}

[[noreturn]] void ThrowFailure(const char* call, const std::string& name) {
    throw MonitorException("GPIO: %s failed for %s: %s", call, name.c_str(), ErrnoText(errno).c_str());
}

}  // namespace

GPIOSignal::GPIOSignal(const std::vector<std::string>& words) {
    if (words.size() < 4)
        throw MonitorException("GPIO: too few fields");
    label = words[0];
    offsets = ParseOffsets(words[1]);
    const std::string& setting = words[2];
    if (setting == "bi") {
        kind = Kind::BIDIRECTIONAL;
    } else if (setting != "in") {
        kind = Kind::OUTPUT;
        initialValue = ParseInitialValue(setting);
    }
    names.assign(words.begin() + 3, words.end());
}

std::string GPIOSignal::OffsetList() const {
    return FormatU32RangeList(offsets, kRangeCharacter);
}

GPIOGroup::GPIOGroup(GPIOSignal signal, GPIOChip& chip)
    : signal_(std::move(signal)),
      lines_(chip.GetLines(signal_.offsets)),
      isDriven_(signal_.kind == GPIOSignal::Kind::OUTPUT),
      levels_(signal_.Width()) {
    if (!lines_)
        ThrowLineFailure("open", signal_);
    Request();
}

void GPIOGroup::Request() {
    int32_t result;
    // The consumer is what gpioinfo and its like show behind a line.
    if (isDriven_) {
        Split(signal_.initialValue);
        result = lines_->RequestOutput(Name(), levels_);
    } else {
        result = lines_->RequestInput(Name());
    }
    if (result < 0)
        ThrowLineFailure("request", signal_);
    if (!Fits(signal_.initialValue, signal_.Width()) && DefaultDebug() != nullptr)
        DefaultDebug()->Printf(DEBUG_WARN, __FILE__, __LINE__,
                               "GPIO: initial value 0x%X of %u-bit signal %s is cut to its width",
                               signal_.initialValue, signal_.Width(), Name().c_str());
}

void GPIOGroup::Split(uint32_t value) {
    for (size_t i = levels_.size(); i-- > 0; value >>= 1)
        levels_[i] = int(value & 1);
}

uint32_t GPIOGroup::Get() {
    if (IsBidirectional() && isDriven_) {
        if (lines_->SetDirectionInput() < 0)
            ThrowFailure("gpiod_line_set_direction_input_bulk", Name());
        isDriven_ = false;
    }
    if (lines_->GetValues(levels_) < 0)
        ThrowFailure("gpiod_line_get_value_bulk", Name());
    uint32_t value = 0;
    for (const int level : levels_)
        value = value * 2 + (level != 0);
    return value;
}

void GPIOGroup::Set(uint32_t value) {
    if (signal_.kind == GPIOSignal::Kind::INPUT)
        throw MonitorException("GPIO: signal %s is not an output or bidirectional", Name().c_str());
    if (!Fits(value, signal_.Width()))
        // The value in decimal behind its 0x, on purpose.
        throw MonitorException("GPIO: cannot set %u-bit signal %s to 0x%u", signal_.Width(), Name().c_str(),
                               value);
    Split(value);
    if (isDriven_) {
        if (lines_->SetValues(levels_) < 0)
            ThrowFailure("gpiod_line_set_value_bulk", Name());
        return;
    }
    if (lines_->SetDirectionOutput(levels_) < 0)
        ThrowFailure("gpiod_line_set_direction_output_bulk", Name());
    isDriven_ = true;
}

std::string GPIOGroup::DirectionCell() const {
    if (IsBidirectional())
        return isDriven_ ? "out* " : "in*  ";
    return isDriven_ ? "out  " : "in   ";
}

}  // namespace quarn
