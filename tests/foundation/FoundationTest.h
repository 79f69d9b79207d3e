#pragma once

#include <quarn/quarn.h>

#include "support/CommandPlayer.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>

namespace quarn::test {

/// Takes the place of CLOCK_MONOTONIC in the whole program while it lives, and catches what would set the
/// system's clock. Other clocks go on as they are. One at a time, in a test of one thread.
struct FakeClock {
    explicit FakeClock(uint64_t microseconds) : now(microseconds) { current = this; }
    ~FakeClock() { current = nullptr; }

    uint64_t now;
    int readError = 0;  ///< errno of every read, 0 for success
    int setError = 0;   ///< errno of every attempt to set CLOCK_REALTIME, 0 for success
    std::vector<timespec> settings;
    static inline FakeClock* current = nullptr;
};

}  // namespace quarn::test
