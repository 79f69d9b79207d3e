#pragma once

#include <quarn/Accessor.h>
#include <quarn/sim/SimulatedBoard.h>

#include <set>
#include <string>
#include <vector>

namespace quarn::sim {

/// Takes the lines of a text that describes a board, and adds what they say.
class BoardDescription final : public Accessor {
public:
    explicit BoardDescription(SimulatedBoard& board) : board_(board) {}

    std::set<std::string> GetConfigurationSections() const override;
    void Configure(const std::string& section, const std::vector<std::string>& words) override;

private:
    SimulatedBoard& board_;
};

/// The text of the built-in board.
extern const char kDefaultBoard[];

}  // namespace quarn::sim
