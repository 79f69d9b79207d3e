#pragma once

#include <quarn/GPIOChips.h>

#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn {

/// What a configuration line says about a signal.
struct GPIOSignal {
    enum class Kind { INPUT, OUTPUT, BIDIRECTIONAL };

    /// Throws MonitorException, "GPIO: ...", for words that describe no signal.
    explicit GPIOSignal(const std::vector<std::string>& words);

    uint32_t Width() const { return uint32_t(offsets.size()); }
    std::string OffsetList() const;

    std::string label;              // the chip's
    std::vector<uint32_t> offsets;  // the first is the most significant bit; 1 to 32 of them
    Kind kind = Kind::INPUT;
    uint32_t initialValue = 0;       // of an output
    std::vector<std::string> names;  // the name, then its aliases
};

/// A signal whose lines are held.
class GPIOGroup {
public:
    /// Takes the lines. Throws MonitorException, with no line held, when that fails. The chip must outlive this
    /// object.
    GPIOGroup(GPIOSignal signal, GPIOChip& chip);

    const GPIOSignal& Signal() const { return signal_; }
    const std::string& Name() const { return signal_.names.front(); }

    /// As GPIODirectAccess::Get() and Set(), once the name has been found.
    uint32_t Get();
    void Set(uint32_t value);

    /// "in" or "out" as it is now, with a star when it can change, in five characters.
    std::string DirectionCell() const;

private:
    bool IsBidirectional() const { return signal_.kind == GPIOSignal::Kind::BIDIRECTIONAL; }
    void Request();
    void Split(uint32_t value);

    GPIOSignal signal_;
    std::unique_ptr<GPIOLines> lines_;
    bool isDriven_;
    std::vector<int> levels_;  // one a line, as the calls take and give them
};

}  // namespace quarn
