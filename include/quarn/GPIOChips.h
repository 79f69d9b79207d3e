#pragma once

/// The one way to the lines of GPIO chips, beside DeviceIO for all other devices, so that a daemon can run
/// where there is no board and a test can make hardware fail.
///
///     quarn::GPIOChips& chips = quarn::GPIOChips::System();
///     const auto chip = chips.OpenChip("/dev/gpiochip0");
///     if (!chip) {
///         fprintf(stderr, "no chip: %s\n", strerror(errno));
///         return;
///     }
///     const auto lines = chip->GetLines({7, 6, 5, 4});
///     std::vector<int> values(4);
///     if (!lines || lines->RequestInput("example") < 0 || lines->GetValues(values) < 0)
///         fprintf(stderr, "no lines: %s\n", strerror(errno));
///
/// Each call is a call of libgpiod, version 1, with its result, errno included. Nothing is thrown or repeated
/// on the caller's behalf. The chips and lines handed out belong to the caller and must not outlive the
/// GPIOChips. One chip and its lines are for one thread at a time.

#include <quarn/Attributes.h>

#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn {

/// Some lines of one chip, in the order in which they were asked for; values are 0 or 1, one for each line, and
/// any other number of them is EINVAL.
class QUARN_API GPIOLines {
public:
    /// Releases the lines.
    virtual ~GPIOLines() = default;

    /// gpiod_line_request_bulk_input and gpiod_line_request_bulk_output: take the lines for this process, under
    /// the name that other programs are shown. -1 on failure, such as EBUSY for a line that another one holds;
    /// then no line is held.
    virtual int32_t RequestInput(const std::string& consumer) = 0;
    virtual int32_t RequestOutput(const std::string& consumer, const std::vector<int>& values) = 0;

    /// gpiod_line_get_value_bulk and gpiod_line_set_value_bulk: -1 on failure.
    virtual int32_t GetValues(std::vector<int>& values) = 0;
    virtual int32_t SetValues(const std::vector<int>& values) = 0;

    /// gpiod_line_set_direction_input_bulk and gpiod_line_set_direction_output_bulk: -1 on failure.
    virtual int32_t SetDirectionInput() = 0;
    virtual int32_t SetDirectionOutput(const std::vector<int>& values) = 0;
};

/// One open chip.
class QUARN_API GPIOChip {
public:
    /// Closes the chip; its lines must be gone.
    virtual ~GPIOChip() = default;

    /// gpiod_chip_get_lines: nothing is requested yet. Null on failure, such as EINVAL for an offset that the
    /// chip does not have.
    virtual std::unique_ptr<GPIOLines> GetLines(const std::vector<uint32_t>& offsets) = 0;
};

class QUARN_API GPIOChips {
public:
    /// Name ("gpiochip0") and label ("ff0a0000.gpio") of a chip.
    struct ChipName {
        std::string name;
        std::string label;
    };

    /// The real chips. Lives as long as the process.
    static GPIOChips& System();

    virtual ~GPIOChips() = default;

    /// All chips, found with gpiod_chip_iter_new and its like. -1 on failure.
    virtual int32_t List(std::vector<ChipName>& chips) = 0;
    /// gpiod_chip_open, by path ("/dev/gpiochip0"). Null on failure.
    virtual std::unique_ptr<GPIOChip> OpenChip(const std::string& path) = 0;

protected:
    GPIOChips() = default;
    GPIOChips(const GPIOChips&) = default;
    GPIOChips& operator=(const GPIOChips&) = default;
};

}  // namespace quarn
