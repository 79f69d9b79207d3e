#pragma once

#include <quarn/Accessor.h>
#include <quarn/Parse.h>
#include <quarn/sim/SimulatedBoard.h>

#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <list>
#include <string>

namespace quarn::test {

/// An accessor on a simulated board, used as a configuration file and a console use it: line by line.
class AccessorFixture : public testing::Test {
protected:
    AccessorFixture(const char* section, const char* command) : section_(section), command_(command) {}

    virtual Accessor& Tested() = 0;

    std::string AddTo(Accessor& accessor, const std::string& line) const {
        return ThrownMessage([&] { accessor.Configure(section_, Tokenize(line)); });
    }
    std::string Add(const std::string& line) { return AddTo(Tested(), line); }
    void AddAll(std::initializer_list<const char*> lines) {
        for (const char* line : lines)
            ASSERT_EQ(Add(line), "(nothing thrown)") << line;
    }
    std::list<std::string> Run(const std::string& line) { return Tested().Execute(command_, Tokenize(line)); }
    std::string Failure(const std::string& line) {
        return ThrownMessage([&] { Run(line); });
    }

    sim::SimulatedBoard board_;

private:
    const char* const section_;
    const char* const command_;
};

}  // namespace quarn::test
