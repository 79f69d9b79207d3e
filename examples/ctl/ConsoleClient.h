#pragma once

#include <quarn/CharacterTerminal.h>
#include <quarn/TCPConnection.h>

#include "common/Endpoint.h"

#include <list>
#include <string>
#include <vector>

namespace unit {

/// A connection to a text console for one thread that sends a line and waits for the response.
class ConsoleClient {
public:
    /// Connects. Throws MonitorException when the console cannot be reached within `timeoutMs`.
    ConsoleClient(const Endpoint& console, uint32_t timeoutMs);

    /// The lines of the response, without the one that ends it. Throws MonitorException when the console is
    /// gone or says nothing for `timeoutMs`, which some line before it may take.
    std::list<std::string> Execute(const std::string& line, uint32_t timeoutMs);

    /// The command words, from the response to "help".
    std::vector<std::string> Commands(uint32_t timeoutMs);
    /// The subcommands that a command's usage, its response to no arguments, names.
    std::vector<std::string> Subcommands(const std::string& command, uint32_t timeoutMs);

private:
    void Send(const std::string& line, uint32_t timeoutMs);
    std::string ReceiveLine(uint32_t timeoutMs);
    void Wait(uint32_t timeoutMs);

    const std::string name_;
    quarn::TCPConnection connection_;
    quarn::CharacterTerminal terminal_;
    std::string received_;
};

}  // namespace unit
