/// quarn-ctl: reads, sets and watches the variables of a unit, sends it files, and talks to its text console.

#include <quarn/MonitorException.h>

#include "common/Endpoint.h"
#include "ctl/Commands.h"
#include "ctl/Console.h"
#include "ctl/Push.h"
#include "ctl/Top.h"
#include "ctl/UnitClient.h"

#include <CLI/CLI.hpp>

#include <stdint.h>
#include <stdio.h>

#include <string>
#include <vector>

namespace {

constexpr uint32_t kConnectMs = 2000;

struct Arguments {
    std::string unit = "127.0.0.1:7400";
    std::string pattern;
    std::string key;
    std::string value;
    std::string file;
    std::string console;
    std::vector<std::string> lines;
    uint64_t count = 0;
    uint32_t intervalMs = 1000;
};

/// A subcommand that is done with a connection to the unit.
template <class Do>
CLI::App* AddUnitCommand(CLI::App& app, const char* name, const char* description, Arguments& arguments,
                         Do execute) {
    CLI::App* command = app.add_subcommand(name, description);
    command->callback([&arguments, execute] {
        const unit::Endpoint endpoint = unit::ParsePeer(arguments.unit);
        unit::UnitClient client(endpoint, kConnectMs);
        execute(client, endpoint);
    });
    return command;
}

void AddUnitCommands(CLI::App& app, Arguments& arguments) {
    using unit::Endpoint;
    using unit::UnitClient;
    CLI::App* get = AddUnitCommand(
        app, "get", "Show the variables that match a pattern (\"*\" stands for anything)", arguments,
        [&](UnitClient& client, const Endpoint&) { unit::ShowVariables(client, arguments.pattern); });
    get->add_option("PATTERN", arguments.pattern)->required();
    CLI::App* set = AddUnitCommand(app, "set", "Set a variable and show what it has become", arguments,
                                   [&](UnitClient& client, const Endpoint&) {
                                       unit::SetVariable(client, arguments.key, arguments.value);
                                   });
    set->add_option("KEY", arguments.key)->required();
    set->add_option("VALUE", arguments.value)->required();
    CLI::App* watch = AddUnitCommand(app, "watch", "Show the matching variables now and whenever they change",
                                     arguments, [&](UnitClient& client, const Endpoint&) {
                                         unit::WatchVariables(client, arguments.pattern, arguments.count);
                                     });
    watch->add_option("PATTERN", arguments.pattern)->required();
    watch->add_option("--count", arguments.count, "End after so many lines")->capture_default_str();
    CLI::App* push = AddUnitCommand(
        app, "push", "Send a file to the unit", arguments,
        [&](UnitClient& client, const Endpoint& endpoint) { unit::Push(client, endpoint, arguments.file); });
    push->add_option("FILE", arguments.file)->required();
    CLI::App* stats =
        AddUnitCommand(app, "stats", "Show the unit's statistics", arguments,
                       [](UnitClient& client, const Endpoint&) { unit::ShowStatistics(client); });
    for (CLI::App* command : {get, set, watch, push, stats})
        command->add_option("UNIT", arguments.unit, "HOST:PORT of the unit");
}

void AddConsoleCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* console = app.add_subcommand("console", "Talk to the text console of a unit");
    console->add_option("CONSOLE", arguments.console, "HOST:PORT of the console")->required();
    console->add_option("-c,--command", arguments.lines, "Execute this line and end; may be repeated")
        ->allow_extra_args(false);
    console->callback([&] { unit::RunConsole(unit::ParsePeer(arguments.console), arguments.lines); });
    CLI::App* top = app.add_subcommand("top", "Show what the workers of a unit do, over and over");
    top->add_option("CONSOLE", arguments.console, "HOST:PORT of the unit's text console")->required();
    top->add_option("--interval", arguments.intervalMs, "Milliseconds between looks")
        ->capture_default_str()
        ->check(CLI::Range(10, 1000000));
    top->add_option("--count", arguments.count, "End after so many looks")->capture_default_str();
    top->callback(
        [&] { unit::ShowTop(unit::ParsePeer(arguments.console), arguments.intervalMs, arguments.count); });
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Reads, sets and watches the variables of a unit, sends it files, and talks to its console");
    app.require_subcommand(1);
    app.fallthrough();
    Arguments arguments;
    app.add_option("-u,--unit", arguments.unit, "HOST:PORT of the unit")->capture_default_str();
    AddUnitCommands(app, arguments);
    AddConsoleCommands(app, arguments);
    app.failure_message([](const CLI::App* at, const CLI::Error& e) {
        const std::vector<std::string> unknown = at->remaining();
        const std::string reason = e.get_name() == "RequiredError" && !unknown.empty()
                                       ? "There is no command \"" + unknown.front() + "\""
                                       : e.what();
        return "quarn-ctl: " + reason + " (--help shows what there is)\n";
    });
    try {
        app.parse(argc, argv);
        return 0;
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    } catch (const quarn::MonitorException& e) {
        fprintf(stderr, "quarn-ctl: %s\n", e.Description().c_str());
        return 1;
    }
}
