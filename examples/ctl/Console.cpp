#include "ctl/Console.h"

#include <quarn/Text.h>

#include "ctl/ConsoleClient.h"

#include <editline/readline.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <iostream>
#include <memory>

namespace unit {

namespace {

constexpr uint32_t kConnectMs = 2000;
constexpr uint32_t kAnswerMs = 10000;
constexpr int kHistoryLines = 1000;

// What the line editor's callbacks, which take no context, work on.
ConsoleClient* completingFrom = nullptr;
std::vector<std::string> candidates;

void ExecuteAndPrint(ConsoleClient& console, const std::string& line) {
    for (const std::string& answer : console.Execute(line, kAnswerMs))
        puts(quarn::Prettify(answer).c_str());
    fflush(stdout);
}

char* NextCandidate(const char* prefix, int state) {
    static size_t next;
    if (state == 0)
        next = 0;
    while (next < candidates.size()) {
        const std::string& candidate = candidates[next++];
        if (candidate.starts_with(prefix))
            return strdup(candidate.c_str());
    }
    return nullptr;
}

/// Commands for the first word, subcommands for the second; what follows is only known to the unit.
char** Complete(const char* prefix, int start, int) {
    rl_attempted_completion_over = 1;  // never file names, which are those of the wrong machine
    const std::string before = quarn::Trim(std::string(rl_line_buffer, size_t(start)));
    try {
        if (before.empty())
            candidates = completingFrom->Commands(kAnswerMs);
        else if (before.find(' ') == std::string::npos)
            candidates = completingFrom->Subcommands(before, kAnswerMs);
        else
            return nullptr;
    } catch (const std::exception&) {
        return nullptr;  // the next line that is entered will say why
    }
    return rl_completion_matches(prefix, NextCandidate);
}

std::string HistoryFile() {
    const char* const home = getenv("HOME");
    return home ? std::string(home) + "/.quarn-ctl-history" : "";
}

void Converse(ConsoleClient& console, const std::string& prompt) {
    completingFrom = &console;
    rl_initialize();
    rl_attempted_completion_function = Complete;
    using_history();
    stifle_history(kHistoryLines);
    const std::string historyFile = HistoryFile();
    if (!historyFile.empty())
        read_history(historyFile.c_str());  // there is none before the first time
    while (const std::unique_ptr<char, void (*)(void*)> line{readline(prompt.c_str()), free}) {
        const std::string text = quarn::Trim(std::string(line.get()));
        if (text.empty())
            continue;
        if (text == "quit" || text == "exit")
            break;
        add_history(text.c_str());
        if (!historyFile.empty())
            write_history(historyFile.c_str());
        ExecuteAndPrint(console, text);
    }
}

}  // namespace

void RunConsole(const Endpoint& endpoint, const std::vector<std::string>& lines) {
    ConsoleClient console(endpoint, kConnectMs);
    if (lines.empty() && isatty(STDIN_FILENO)) {
        Converse(console, endpoint.ToString() + "> ");
        return;
    }
    for (const std::string& line : lines)
        ExecuteAndPrint(console, line);
    std::string line;
    while (lines.empty() && std::getline(std::cin, line))
        ExecuteAndPrint(console, line);
}

}  // namespace unit
