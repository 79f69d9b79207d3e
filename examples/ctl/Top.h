#pragma once

#include "common/Endpoint.h"

#include <stdint.h>

namespace unit {

/// Shows what the workers behind a text console do, every `intervalMs`: on a terminal in place of what was shown
/// before, elsewhere line after line. Ends after `count` times; 0 never ends. Throws MonitorException when the console
/// is out of reach or does not answer.
void ShowTop(const Endpoint& console, uint32_t intervalMs, uint64_t count);

}  // namespace unit
