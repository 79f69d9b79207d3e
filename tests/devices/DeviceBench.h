#pragma once

#include <quarn/quarn.h>
#include <quarn/sim/SimulatedBoard.h>

#include "support/TempDirectory.h"

#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quarn::test {

/// A console in front of accessors on a simulated board, with commands of its own for what no console does:
///
///     start ACCESSOR...       ends the accessors that there are and makes these, by their commands
///     add SECTION LINE...     what a configuration file says in that section
///     board SECTION LINE...   what a description of the board says in that section
///     text PATH TEXT          what is in a file of the board
///     fail CALL ERRNO [TIMES], shorten CALL BYTES, held    as the functions of SimulatedBoard
///     count, accesses [r|w]   the calls, and accesses to words of memory, since this was last asked
///     lines CHIP OFFSET...    who holds a line, > for an output or < for an input, and its level
///     pace MICROSECONDS       by how much the board's counters go on whenever one is read
///     free BUS                whether another process would get the bus
///     registers DEVICE FIRST COUNT, wire DEVICE COUNT BYTE..., mode DEVICE [MODE], get FIELD, set CLOCK TIME,
///     sub MINIMUM MAXIMUM WORD...    what I2C, SPI, registers, clocks and the parser of "dev read" give programs
class DeviceBench {
public:
    using Response = std::list<std::string>;

    DeviceBench();

    /// The response, then what was printed.
    Response Say(const std::string& line);

private:
    using Words = std::vector<std::string>;

    void Start(const Words& words);
    void Add(const Words& words);
    bool UseBoard(const Words& words, const std::string& line, Response& response);
    bool UseAccessors(const Words& words, Response& response);
    std::string CountCalls();
    std::string ShowLine(const std::string& chip, uint32_t offset) const;
    template <class Kind>
    Kind& Made(const std::string& command) {
        return dynamic_cast<Kind&>(*made_.at(command));
    }

    const TempDirectory folder_;
    sim::SimulatedBoard board_;
    uint64_t nanoseconds_ = 0, pace_ = 0;
    std::map<std::string, uint64_t> counts_;
    VariableDictionary dictionary_{"board"};
    VariableIndex index_{"board", dictionary_};
    int16_t gains_[2] = {5, 6};
    std::vector<std::string> names_;
    std::map<std::string, std::unique_ptr<Accessor>> made_;
    std::optional<Accessors> accessors_;
};

}  // namespace quarn::test
