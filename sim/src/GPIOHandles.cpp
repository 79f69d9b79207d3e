// What a GPIOBank hands out: opened chips and the lines asked for, with the manners of libgpiod and the kernel.

#include "GPIOBank.h"
#include "OpenFile.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>

namespace quarn::sim {

namespace {

constexpr char kNodeFolder[] = "/dev/";
constexpr size_t kMostInBulk = 64;

}  // namespace

class GPIOBank::Lines final : public GPIOLines {
public:
    /// Made under the mutex. `siblings` counts the objects of the same opened chip.
    Lines(GPIOBank& bank, size_t chip, size_t& siblings, const std::vector<uint32_t>& offsets)
        : bank_(bank),
          chip_(chip),
          siblings_(siblings),
          removals_(bank.chips_[chip].removals),
          offsets_(offsets) {
        ++siblings_;
    }

    ~Lines() override {
        const std::lock_guard lock(bank_.mutex_);
        --siblings_;
        if (!isRequested_)
            return;
        bank_.requestedLines_ -= offsets_.size();
        if (!IsDead())
            Release();
    }

    int32_t RequestInput(const std::string& consumer) override {
        const std::lock_guard lock(bank_.mutex_);
        return Request(consumer);
    }

    int32_t RequestOutput(const std::string& consumer, const std::vector<int>& values) override {
        const std::lock_guard lock(bank_.mutex_);
        if (values.size() != offsets_.size())
            return Refuse(EINVAL);
        if (Request(consumer) != 0)
            return -1;
        Output(values);
        return 0;
    }

    int32_t GetValues(std::vector<int>& values) override {
        const std::lock_guard lock(bank_.mutex_);
        if (MayNot(Call::GET_VALUES))
            return -1;
        if (values.size() != offsets_.size())
            return Refuse(EINVAL);
        for (size_t i = 0; i < offsets_.size(); ++i)
            values[i] = bank_.LevelAt({chip_, offsets_[i]});
        return 0;
    }

    int32_t SetValues(const std::vector<int>& values) override {
        const std::lock_guard lock(bank_.mutex_);
        if (MayNot(Call::SET_VALUES))
            return -1;
        if (!At(offsets_.front()).isOutput)
            return Refuse(EPERM);
        if (values.size() != offsets_.size())
            return Refuse(EINVAL);
        Output(values);
        return 0;
    }

    int32_t SetDirectionInput() override {
        const std::lock_guard lock(bank_.mutex_);
        if (MayNot(Call::SET_INPUT))
            return -1;
        for (const uint32_t offset : offsets_)
            At(offset).isOutput = false;
        return 0;
    }

    int32_t SetDirectionOutput(const std::vector<int>& values) override {
        const std::lock_guard lock(bank_.mutex_);
        if (MayNot(Call::SET_OUTPUT))
            return -1;
        if (values.size() != offsets_.size())
            return Refuse(EINVAL);
        Output(values);
        return 0;
    }

private:
    Line& At(uint32_t offset) { return bank_.At({chip_, offset}); }
    bool IsDead() const { return bank_.chips_[chip_].removals != removals_; }

    /// True, with errno set, when a call that needs requested lines cannot be made.
    bool MayNot(Call call) {
        if (bank_.faults_.Strike(call))
            return true;
        if (isRequested_ && !IsDead())
            return false;
        errno = isRequested_ ? ENODEV : EPERM;
        return true;
    }

    int32_t Request(const std::string& consumer) {
        if (bank_.faults_.Strike(Call::REQUEST_LINES))
            return -1;
        if (IsDead())
            return Refuse(ENODEV);
        for (auto offset = offsets_.begin(); offset != offsets_.end(); ++offset)
            if (At(*offset).isHeld || std::find(offsets_.begin(), offset, *offset) != offset)
                return Refuse(EBUSY);
        for (const uint32_t offset : offsets_)
            At(offset).Hold(consumer);
        isRequested_ = true;
        bank_.requestedLines_ += offsets_.size();
        return 0;
    }

    /// A line that nobody holds is an input again.
    void Release() {
        for (const uint32_t offset : offsets_) {
            At(offset).isHeld = At(offset).isOutput = false;
            At(offset).consumer.clear();
        }
    }

    void Output(const std::vector<int>& values) {
        for (size_t i = 0; i < offsets_.size(); ++i) {
            At(offsets_[i]).isOutput = true;
            At(offsets_[i]).output = values[i] != 0;
        }
    }

    GPIOBank& bank_;
    const size_t chip_;
    size_t& siblings_;
    const uint64_t removals_;
    const std::vector<uint32_t> offsets_;
    bool isRequested_ = false;
};

class GPIOBank::OpenedChip final : public GPIOChip {
public:
    /// Made and counted under the mutex.
    OpenedChip(GPIOBank& bank, size_t chip)
        : bank_(bank), chip_(chip), removals_(bank.chips_[chip].removals) {}

    ~OpenedChip() override {
        const std::lock_guard lock(bank_.mutex_);
        if (lines_ != 0) {  // libgpiod has freed them then, and their objects use what is gone
            fprintf(stderr, "SIM: GPIO chip \"%s\" closed before its lines were given back\n",
                    bank_.chips_[chip_].label.c_str());
            abort();
        }
        --bank_.openChips_;
    }

    std::unique_ptr<GPIOLines> GetLines(const std::vector<uint32_t>& offsets) override {
        const std::lock_guard lock(bank_.mutex_);
        if (bank_.faults_.Strike(Call::GET_LINES))
            return nullptr;
        const Chip& chip = bank_.chips_[chip_];
        const auto isBeyond = [&](uint32_t offset) { return offset >= chip.lines.size(); };
        if (chip.removals != removals_)
            errno = ENODEV;
        else if (offsets.empty() || offsets.size() > kMostInBulk ||
                 std::any_of(offsets.begin(), offsets.end(), isBeyond))
            errno = EINVAL;
        else
            return std::make_unique<Lines>(bank_, chip_, lines_, offsets);
        return nullptr;
    }

private:
    GPIOBank& bank_;
    const size_t chip_;
    const uint64_t removals_;
    size_t lines_ = 0;
};

std::unique_ptr<GPIOChip> GPIOBank::OpenChip(const std::string& path) {
    const std::lock_guard lock(mutex_);
    if (faults_.Strike(Call::OPEN_CHIP))
        return nullptr;
    for (const Chip& chip : chips_)
        if (!chip.isAway && path == kNodeFolder + chip.Name()) {
            ++openChips_;
            return std::make_unique<OpenedChip>(*this, chip.number);
        }
    errno = ENOENT;
    return nullptr;
}

}  // namespace quarn::sim
