#include "ctl/ConsoleClient.h"

#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include "ctl/AwaitConnection.h"

#include <poll.h>

#include <algorithm>

namespace unit {

using quarn::MonitorException;

namespace {

const std::string kEndOfResponse = "\x04";

/// The word of `text` that starts at `start`.
std::string WordAt(const std::string& text, size_t start) {
    return text.substr(start, text.find(' ', start) - start);
}

}  // namespace

ConsoleClient::ConsoleClient(const Endpoint& console, uint32_t timeoutMs)
    : name_(console.ToString()),
      connection_("console " + name_, console.address, console.port),
      terminal_(connection_) {
    AwaitConnection(connection_, "console at " + name_, timeoutMs, [&] { terminal_.Work(); });
}

std::list<std::string> ConsoleClient::Execute(const std::string& line, uint32_t timeoutMs) {
    Send(line, timeoutMs);
    std::list<std::string> response;
    for (;;) {
        response.push_back(ReceiveLine(timeoutMs));
        if (response.back() == kEndOfResponse) {
            response.pop_back();
            return response;
        }
    }
}

std::vector<std::string> ConsoleClient::Commands(uint32_t timeoutMs) {
    std::vector<std::string> commands;
    for (const std::string& line : Execute("help", timeoutMs))
        commands.push_back(WordAt(line, 0));
    return commands;
}

std::vector<std::string> ConsoleClient::Subcommands(const std::string& command, uint32_t timeoutMs) {
    std::vector<std::string> subcommands;
    for (const std::string& line : Execute(command, timeoutMs)) {
        // "i2c list <pattern>", or blanks in place of the command in all but the first line of a usage text.
        const size_t indent = command.size() + 1;
        const bool isUsage = line.size() > indent && line[indent] != ' ' &&
                             (line.starts_with(command + " ") || line.find_first_not_of(' ') == indent);
        const std::string word = isUsage ? WordAt(line, indent) : "";
        const bool isLiteral = !word.empty() && word.find_first_of("<>[]") == std::string::npos;
        if (isLiteral && std::find(subcommands.begin(), subcommands.end(), word) == subcommands.end())
            subcommands.push_back(word);
    }
    return subcommands;
}

void ConsoleClient::Send(const std::string& line, uint32_t timeoutMs) {
    std::vector<char> text(line.begin(), line.end());
    text.push_back('\n');
    terminal_.Put(text);
    while (terminal_.WorkPending())
        Wait(timeoutMs);
}

std::string ConsoleClient::ReceiveLine(uint32_t timeoutMs) {
    size_t end;
    while ((end = received_.find('\n')) == std::string::npos)
        Wait(timeoutMs);
    const std::string line = received_.substr(0, end);
    received_.erase(0, end + 1);
    return line;
}

void ConsoleClient::Wait(uint32_t timeoutMs) {
    pollfd fd{connection_.Socket(), static_cast<short>(terminal_.WorkPending() ? POLLIN | POLLOUT : POLLIN),
              0};
    if (poll(&fd, 1, static_cast<int>(timeoutMs)) == 0)
        throw MonitorException("The console at %s does not answer", name_.c_str());
    const bool isAlive = terminal_.Work();
    std::vector<char> piece;
    if (terminal_.Get(piece))
        received_.append(piece.begin(), piece.end());
    else if (!isAlive)
        throw MonitorException("The console at %s closed the connection", name_.c_str());
}

}  // namespace unit
