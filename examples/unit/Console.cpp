#include "unit/Console.h"

namespace unit {

Console::Registry::Registry(quarn::WorkerAccess& workers, quarn::VariableAccess& variables) {
    accessors.Add(workers);
    accessors.Add(variables);
}

Console::Console(quarn::Debuggable* parent, Unit& unit, const Endpoint& listen)
    : variables_(unit.Variables(), &unit),
      registry_(workers_, variables_),
      server_(parent, listen.address.ToString(), listen.port, registry_.accessors) {}

}  // namespace unit
