#pragma once

#include "common/Endpoint.h"

#include <string>
#include <vector>

namespace unit {

/// Executes the lines on the console and prints the responses. Without lines, reads them from the standard
/// input: at a terminal with a prompt, line editing, a history that outlives the program and completion of
/// commands and their subcommands. Throws MonitorException when the console is out of reach or does not answer.
void RunConsole(const Endpoint& console, const std::vector<std::string>& lines);

}  // namespace unit
