#pragma once

#include <quarn/Accessors.h>

#include "support/DebugCapture.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdint.h>

#include <initializer_list>
#include <string>

namespace quarn::test {

using testing::ElementsAre;
using testing::IsEmpty;

/// Accessors with a configuration file, used as a daemon uses them.
class ConfiguredBoard {
public:
    ConfiguredBoard(std::initializer_list<Accessor*> accessors, const std::string& configuration);

    /// The response to a line of the console, without the character that ends it.
    Lines Run(const std::string& line);
    /// What was printed about the configuration file, without its folder.
    const Lines& Complaints() const { return complaints_; }

private:
    Accessors accessors_;
    Lines complaints_;
};

/// Sets what a module of the board's kernel is to do next, as in "i2cmem/fail_count". -1 is no number to it
/// that would hit anything.
void SetModule(const std::string& parameter, int64_t value);

/// A 32-bit word of physical memory, beside the classes under test.
volatile uint32_t& Physical(uint64_t address);

}  // namespace quarn::test
