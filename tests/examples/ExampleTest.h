#pragma once

#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "ctl/ConsoleClient.h"
#include "examples/Ask.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/TextFiles.h"
#include "support/ThrownMessage.h"
#include "unit/Unit.h"

namespace unit {

using quarn::VariantValue;
using quarn::test::DebugCapture;
using quarn::test::Eventually;
using quarn::test::LOOPBACK;
using quarn::test::TempDirectory;
using quarn::test::ThrownMessage;

constexpr int kAnswerMs = 20000;

/// Options of a unit on the loopback interface that mirrors the sound, changed.
template <class Change>
UnitOptions With(Change&& change) {
    UnitOptions options;
    options.listen.address = LOOPBACK;
    options.mirrorPatterns = {"audio.*"};
    change(options);
    return options;
}

/// A unit that runs from construction to destruction.
struct RunningUnit {
    explicit RunningUnit(const UnitOptions& options = With([](auto&) {}))
        : unit(nullptr, options, quarn::DeviceIO::System(), [] {}) {
        unit.Start();
    }
    ~RunningUnit() { unit.Stop(); }

    Endpoint Address() const { return {LOOPBACK, unit.GetPort()}; }

    Unit unit;
};

}  // namespace unit
