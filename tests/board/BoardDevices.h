#pragma once

#include <quarn/quarn.h>

#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdint.h>
#include <stdlib.h>

namespace quarn::test {

using testing::ElementsAre;

/// Sets what a module of the board's kernel is to do next, as in "i2cmem/fail_count". -1 is no number to it
/// that would hit anything.
void SetModule(const std::string& parameter, int64_t value);

/// A 32-bit word of physical memory, beside the classes under test.
volatile uint32_t& Physical(uint64_t address);

}  // namespace quarn::test
