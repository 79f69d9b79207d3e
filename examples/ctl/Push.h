#pragma once

#include "common/Endpoint.h"
#include "ctl/UnitClient.h"

#include <string>

namespace unit {

/// Sends a file to a unit and shows how far it is: a bar on a terminal, a line a second otherwise. Throws
/// MonitorException when it does not arrive.
void Push(UnitClient& client, const Endpoint& unit, const std::string& path);

}  // namespace unit
