#pragma once

#include <stdint.h>

#include <list>
#include <map>
#include <string>
#include <vector>

namespace unit {

/// What one worker's statistics, as "mon stats" prints them, say.
struct WorkerFigures {
    std::string name;
    std::string status;
    uint64_t runs = 0;
    uint64_t timeouts = 0;
    uint64_t events = 0;
    std::map<std::string, uint64_t> descriptors;  ///< wake-ups by "fd N (what it is)"
    uint64_t averageUs = 0;                       ///< of the recent runs' durations
    uint64_t longestUs = 0;                       ///< of all of them
    std::list<std::string> extras;                ///< lines of the worker's own
};

/// Takes the response to "mon stats" apart. What it does not know ends up in the extras of the worker before it.
std::vector<WorkerFigures> ParseWorkerReport(const std::list<std::string>& lines);

/// The workers as a table, then the lines of their own. Rates are those between the reports, which are `seconds` apart;
/// a worker that the earlier one does not have counts from zero.
std::list<std::string> FormatWorkerReport(const std::vector<WorkerFigures>& before,
                                          const std::vector<WorkerFigures>& now, double seconds);

}  // namespace unit
