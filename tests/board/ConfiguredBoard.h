#pragma once

#include <quarn/Accessors.h>

#include "support/DebugCapture.h"
#include "support/TempDirectory.h"

#include <stdint.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace quarn::test {

/// Accessors with a configuration file, used as a daemon uses them.
class ConfiguredBoard {
public:
    ConfiguredBoard(std::initializer_list<Accessor*> accessors, const std::string& configuration);

    /// The response to a line of the console, without the character that ends it.
    std::vector<std::string> Run(const std::string& line);
    /// What was printed about the configuration file, without its folder.
    const std::vector<std::string>& Complaints() const { return complaints_; }

private:
    Accessors accessors_;
    std::vector<std::string> complaints_;
};

/// Sets what a module of the board's kernel is to do next, as in "i2cmem/fail_count". -1 is no number to it
/// that would hit anything.
void SetModule(const std::string& parameter, int64_t value);
uint32_t ReadModule(const std::string& parameter);

/// One 32-bit read or write of physical memory, beside the classes under test.
uint32_t ReadPhysical(uint64_t address);
void WritePhysical(uint64_t address, uint32_t value);

}  // namespace quarn::test
