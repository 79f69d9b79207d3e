#include <quarn/GPIOChips.h>

#include <errno.h>
#include <gpiod.h>

namespace quarn {

namespace {

class SystemLines final : public GPIOLines {
public:
    explicit SystemLines(const gpiod_line_bulk& bulk) : bulk_(bulk) {}
    ~SystemLines() override {
        // A chip has one object a line: without a request of its own, this would release somebody else's.
        if (isHeld_)
            gpiod_line_release_bulk(&bulk_);
    }

    int32_t RequestInput(const std::string& consumer) override {
        return Hold(gpiod_line_request_bulk_input(&bulk_, consumer.c_str()));
    }
    int32_t RequestOutput(const std::string& consumer, const std::vector<int>& values) override {
        return Fits(values) ? Hold(gpiod_line_request_bulk_output(&bulk_, consumer.c_str(), values.data()))
                            : -1;
    }
    int32_t GetValues(std::vector<int>& values) override {
        return Fits(values) ? gpiod_line_get_value_bulk(&bulk_, values.data()) : -1;
    }
    int32_t SetValues(const std::vector<int>& values) override {
        return Fits(values) ? gpiod_line_set_value_bulk(&bulk_, values.data()) : -1;
    }
    int32_t SetDirectionInput() override { return gpiod_line_set_direction_input_bulk(&bulk_); }
    int32_t SetDirectionOutput(const std::vector<int>& values) override {
        return Fits(values) ? gpiod_line_set_direction_output_bulk(&bulk_, values.data()) : -1;
    }

private:
    int32_t Hold(int32_t result) {
        isHeld_ = isHeld_ || result == 0;
        return result;
    }
    bool Fits(const std::vector<int>& values) const {
        if (values.size() == bulk_.num_lines)
            return true;
        errno = EINVAL;
        return false;
    }

    gpiod_line_bulk bulk_;
    bool isHeld_ = false;
};

class SystemChip final : public GPIOChip {
public:
    explicit SystemChip(gpiod_chip* chip) : chip_(chip, gpiod_chip_close) {}

    std::unique_ptr<GPIOLines> GetLines(const std::vector<uint32_t>& offsets) override {
        if (offsets.empty() || offsets.size() > GPIOD_LINE_BULK_MAX_LINES) {
            errno = EINVAL;
            return nullptr;
        }
        std::vector<unsigned int> changeable(offsets.begin(), offsets.end());
        gpiod_line_bulk bulk;
        if (gpiod_chip_get_lines(chip_.get(), changeable.data(), unsigned(changeable.size()), &bulk) < 0)
            return nullptr;
        return std::make_unique<SystemLines>(bulk);
    }

private:
    const std::unique_ptr<gpiod_chip, void (*)(gpiod_chip*)> chip_;
};

class SystemChips final : public GPIOChips {
public:
    int32_t List(std::vector<ChipName>& chips) override {
        const std::unique_ptr<gpiod_chip_iter, void (*)(gpiod_chip_iter*)> walk(gpiod_chip_iter_new(),
                                                                                gpiod_chip_iter_free);
        if (!walk)
            return -1;
        chips.clear();
        while (gpiod_chip* const chip = gpiod_chip_iter_next(walk.get()))
            chips.push_back({gpiod_chip_name(chip), gpiod_chip_label(chip)});
        return 0;
    }

    std::unique_ptr<GPIOChip> OpenChip(const std::string& path) override {
        gpiod_chip* const chip = gpiod_chip_open(path.c_str());
        if (chip == nullptr)
            return nullptr;
        return std::make_unique<SystemChip>(chip);
    }
};

}  // namespace

GPIOChips& GPIOChips::System() {
    // Never destroyed: lines are released through it by whatever outlives main().
    static SystemChips* const chips = new SystemChips;
    return *chips;
}

}  // namespace quarn
