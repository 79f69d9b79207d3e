#pragma once

#include "ctl/UnitClient.h"

#include <stdint.h>

#include <string>

namespace unit {

// What quarn-ctl asks of a unit, printed on standard output. All throw MonitorException when the unit is gone, is
// silent for five seconds or refuses.

/// Also throws when no variable matches.
void ShowVariables(UnitClient& client, const std::string& pattern);

/// Throws also for a key that is not known, a text that is no value of its type, and when the variable has not become
/// what it was set to.
void SetVariable(UnitClient& client, const std::string& key, const std::string& text);

/// Shows `count` values, the present ones first, or without end when that is 0. Waits for changes as long as it takes.
/// Also throws when no variable matches.
void WatchVariables(UnitClient& client, const std::string& pattern, uint64_t count);

void ShowStatistics(UnitClient& client);

}  // namespace unit
