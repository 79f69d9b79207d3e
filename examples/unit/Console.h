#pragma once

#include <quarn/Accessors.h>
#include <quarn/ConsoleServer.h>
#include <quarn/VariableAccess.h>
#include <quarn/WorkerAccess.h>

#include "common/Endpoint.h"
#include "unit/Unit.h"

namespace unit {

/// The unit's text console: its workers ("mon") and its variables ("var"). The unit must have been started and outlive it.
class Console {
public:
    /// Throws MonitorException when it cannot listen there.
    Console(quarn::Debuggable* parent, Unit& unit, const Endpoint& listen);

    uint16_t GetPort() const { return server_.GetPort(); }

private:
    struct Registry {
        Registry(quarn::WorkerAccess& workers, quarn::VariableAccess& variables);
        quarn::Accessors accessors;
    };

    quarn::WorkerAccess workers_;
    quarn::VariableAccess variables_;
    Registry registry_;
    quarn::ConsoleServer server_;
};

}  // namespace unit
