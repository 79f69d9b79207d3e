#pragma once

#include <quarn/quarn.h>
#include <quarn/sim/SimulatedBoard.h>

#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <utility>

namespace quarn::test {

using sim::Call;
using sim::SimulatedBoard;
using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

using Bytes = std::vector<uint8_t>;
using Response = std::list<std::string>;

constexpr char kNothingThrown[] = "(nothing thrown)";

}  // namespace quarn::test
