#pragma once

#include <quarn/Accessor.h>
#include <quarn/Parse.h>
#include <quarn/sim/SimulatedBoard.h>

#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <errno.h>

#include <initializer_list>
#include <list>
#include <string>
#include <utility>
#include <vector>

namespace quarn::test {

using sim::Call;
using sim::SimulatedBoard;
using testing::ElementsAre;
using testing::IsEmpty;

using Bytes = std::vector<uint8_t>;
using Response = std::list<std::string>;

constexpr char kNothingThrown[] = "(nothing thrown)";

/// An accessor on a simulated board, used as a configuration file and a console use it: line by line.
class AccessorFixture : public testing::Test {
protected:
    AccessorFixture(const char* section, const char* command) : section_(section), command_(command) {}

    virtual Accessor& Tested() = 0;

    std::string AddTo(Accessor& accessor, const std::string& line) const {
        EXPECT_THAT(accessor.GetConfigurationSections(), ElementsAre(section_));
        return ThrownMessage([&] { accessor.Configure(section_, Tokenize(line)); });
    }
    std::string Add(const std::string& line) { return AddTo(Tested(), line); }
    void AddAll(std::initializer_list<std::string> lines) {
        for (const std::string& line : lines)
            ASSERT_EQ(Add(line), kNothingThrown) << line;
    }
    Response Run(const std::string& line) {
        EXPECT_THAT(Tested().GetConsoleCommands(false), ElementsAre(command_));
        return Tested().Execute(command_, Tokenize(line));
    }
    std::string Failure(const std::string& line) {
        return ThrownMessage([&] { Run(line); });
    }

    /// Lines, each with the message that refuses it.
    using Refusals = std::initializer_list<std::pair<std::string, std::string>>;
    void ExpectRefused(Refusals cases) {
        for (const auto& [line, message] : cases)
            EXPECT_EQ(Add(line), message) << line;
    }
    void ExpectFailures(Refusals cases) {
        for (const auto& [line, message] : cases)
            EXPECT_EQ(Failure(line), message) << line;
    }

    SimulatedBoard board_;

private:
    const char* const section_;
    const char* const command_;
};

}  // namespace quarn::test
