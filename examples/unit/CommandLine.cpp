#include "unit/CommandLine.h"

#include <quarn/MonitorException.h>
#include <quarn/Parse.h>

#include <CLI/CLI.hpp>

#include <stdio.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace unit {

namespace {

using Texts = std::vector<std::string>;

/// Hands the text of an option on, and has failures name the option.
template <class Take>
auto Naming(const char* option, Take take) {
    return [option, take](const std::string& text) {
        try {
            take(text);
        } catch (const quarn::MonitorException& e) {
            throw quarn::MonitorException("%s: %s", option, e.Description().c_str());
        }
    };
}

template <class Take>
CLI::Option* AddText(CLI::App& app, const char* name, Take take, const char* description) {
    return app.add_option_function<std::string>(name, Naming(name, take), description);
}

template <class Take>
void AddTexts(CLI::App& app, const char* name, Take take, const char* description) {
    const auto takeOne = Naming(name, take);
    app.add_option_function<Texts>(
        name, [takeOne](const Texts& texts) { std::for_each(texts.begin(), texts.end(), takeOne); },
        description);
}

void AddPeerOptions(CLI::App& app, UnitOptions& unit) {
    app.add_option("--name", unit.name, "The unit's name")->capture_default_str();
    AddText(
        app, "--listen", [&](const std::string& text) { unit.listen = ParseListener(text); },
        "ADDRESS:PORT or PORT (then on loopback) to serve peers on; \"*:PORT\" is every interface")
        ->default_str(unit.listen.ToString());
    AddTexts(
        app, "--peer", [&](const std::string& text) { unit.links.push_back(ParsePeer(text)); },
        "HOST:PORT of a unit to connect to and mirror; may be repeated");
    app.add_option("--mirror", unit.mirrorPatterns,
                   "Pattern of the variables to mirror with them; may be repeated")
        ->capture_default_str();
    AddTexts(
        app, "--allow", [&](const std::string& text) { unit.allowed.Add(text); },
        "ADDRESS or ADDRESS/PREFIX of peers to serve, and nobody else; may be repeated");
    app.add_option("--max-peers", unit.maxPeers, "Connections to serve at a time")->capture_default_str();
    app.add_option("--receive-files", unit.inbox, "Take files from peers into this folder (it must exist)");
}

void AddStateOptions(CLI::App& app, StateOptions& state) {
    app.add_option("--state", state.devices,
                   "Keep the settings there: FILE, eeprom:PATH or mtd:NAME; may be repeated");
    app.add_option("--state-block-size", state.blockSize,
                   "Bytes of a block of the state devices; 0 is one block of any length in each FILE")
        ->capture_default_str();
    app.add_option("--state-version", state.dataVersion, "Data version to write with the settings")
        ->capture_default_str();
    app.add_option("--state-interval", state.intervalMs, "Milliseconds between saves, at least")
        ->capture_default_str();
}

void AddListener(CLI::App& app, const char* name, std::optional<Endpoint>& listener,
                 const char* description) {
    AddText(
        app, name, [&listener](const std::string& text) { listener = ParseListener(text); }, description);
}

void AddPeer(CLI::App& app, const char* name, std::optional<Endpoint>& peer, const char* description) {
    AddText(
        app, name, [&peer](const std::string& text) { peer = ParsePeer(text); }, description);
}

void AddServiceOptions(CLI::App& app, UnitOptions& unit) {
    AddListener(app, "--clock-server", unit.clock.serve, "ADDRESS:PORT or PORT to tell the time on");
    AddPeer(app, "--clock-client", unit.clock.follow, "HOST:PORT of the unit whose clock to follow");
    app.add_option("--clock-start", unit.clock.startUs, "Microseconds that the unit's clock starts ahead by")
        ->capture_default_str();
    AddPeer(app, "--watchdog", unit.watchdog, "HOST:PORT of the watchdog service to report to");
}

void AddDeviceOptions(CLI::App& app, std::string& board, DeviceOptions& devices) {
    app.add_option("--board", board,
                   "Where the devices are: \"simulated\", \"simulated:FILE\" (a description) or \"system\"")
        ->capture_default_str();
    app.add_option("--config", devices.configuration, "File that names the board's devices");
    AddListener(app, "--gpio-server", devices.gpioServer,
                "ADDRESS:PORT or PORT to serve the GPIO signals on");
    AddPeer(app, "--gpio-client", devices.gpioClient,
            "HOST:PORT of the unit whose GPIO signals to use, instead of the board's own");
    AddListener(app, "--console", devices.console, "ADDRESS:PORT or PORT to serve the text console on");
}

void AddMask(CLI::App& app, const char* name, uint32_t& mask, const char* description) {
    AddText(
        app, name, [&mask](const std::string& text) { mask = quarn::ParseU32(text, UINT32_MAX); },
        description)
        ->default_str(quarn::Debug::FormatMask(mask));
}

void AddDebugOptions(CLI::App& app, CommandLine& line) {
    AddMask(app, "--console-mask", line.debug.consoleMask, "Debug categories for the console");
    AddMask(app, "--log-mask", line.debug.logMask, "Debug categories for the log");
    app.add_option("--log-directory", line.logDirectory, "Keep log files in this folder (it must exist)");
    app.add_option("--debug-level", line.debugLevel, "0 is quiet, 1 shows what the worker does")
        ->capture_default_str();
    app.add_flag("--source-location", line.debug.showSourceLocation, "Show the source line of each message");
}

}  // namespace

CommandLine::CommandLine() {
    unit.listen = ParseListener("127.0.0.1:7400");
    unit.mirrorPatterns = {"audio.mute", "audio.gain-db", "rf.channel", "rf.frequency-khz"};
}

int CommandLine::Parse(int argc, char** argv) {
    CLI::App app("A unit daemon of the example receiver: variables and sentences over TCP");
    bool showMasks = false;
    AddPeerOptions(app, unit);
    AddStateOptions(app, unit.state);
    AddServiceOptions(app, unit);
    AddDeviceOptions(app, board, devices);
    AddDebugOptions(app, *this);
    app.add_flag("--masks", showMasks, "List the debug categories and exit");
    app.failure_message([](const CLI::App*, const CLI::Error& e) {
        return std::string("quarn-unit: ") + e.what() + " (--help shows what there is)\n";
    });
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    if (showMasks) {
        quarn::Debug::Usage(stdout, "");
        return 0;
    }
    devices.allowed = unit.allowed;
    return -1;
}

}  // namespace unit
