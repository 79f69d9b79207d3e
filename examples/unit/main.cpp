/// quarn-unit: a small but complete unit daemon.

#include <quarn/Debug.h>
#include <quarn/Debuggable.h>
#include <quarn/Logger.h>
#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/Text.h>

#include "common/Endpoint.h"
#include "unit/Board.h"
#include "unit/Devices.h"
#include "unit/Unit.h"

#include <CLI/CLI.hpp>

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <optional>

namespace {

struct Options {
    unit::UnitOptions unit;
    unit::DeviceOptions devices;
    std::string board = "simulated";
    quarn::DebugOptions debug;
    std::string logDirectory;
    uint32_t debugLevel = 0;
};

uint32_t ParseMask(const std::string& text) {
    return quarn::ParseU32(text, 0);
}

/// Fills the options from the command line. Returns the status to exit with, or -1 to go on.
int ParseCommandLine(int argc, char** argv, Options& options) {
    CLI::App app("A unit daemon of the example receiver: variables and sentences over TCP");
    std::string listen = "127.0.0.1:7400";
    std::string consoleMask = quarn::Debug::FormatMask(options.debug.consoleMask);
    std::string logMask = quarn::Debug::FormatMask(options.debug.logMask);
    std::vector<std::string> peers;
    std::vector<std::string> mirror = {"audio.mute", "audio.gain-db", "rf.channel", "rf.frequency-khz"};
    std::string clockServer;
    std::string clockClient;
    std::string watchdog;
    std::vector<std::string> allowed;
    std::string console;
    std::string gpioServer;
    std::string gpioClient;
    bool showMasks = false;
    app.add_option("--name", options.unit.name, "The unit's name")->capture_default_str();
    app.add_option("--listen", listen,
                   "ADDRESS:PORT or PORT (then on loopback) to serve peers on; \"*:PORT\" is every interface")
        ->capture_default_str();
    app.add_option("--peer", peers, "HOST:PORT of a unit to connect to and mirror; may be repeated");
    app.add_option("--mirror", mirror, "Pattern of the variables to mirror with them; may be repeated")
        ->capture_default_str();
    app.add_option("--state", options.unit.state.devices,
                   "Keep the settings there: FILE, eeprom:PATH or mtd:NAME; may be repeated");
    app.add_option("--state-block-size", options.unit.state.blockSize,
                   "Bytes of a block of the state devices; 0 is one block of any length in each FILE")
        ->capture_default_str();
    app.add_option("--state-version", options.unit.state.dataVersion,
                   "Data version to write with the settings")
        ->capture_default_str();
    app.add_option("--state-interval", options.unit.state.intervalMs, "Milliseconds between saves, at least")
        ->capture_default_str();
    app.add_option("--receive-files", options.unit.inbox,
                   "Take files from peers into this folder (it must exist)");
    app.add_option("--clock-server", clockServer, "ADDRESS:PORT or PORT to tell the time on");
    app.add_option("--clock-client", clockClient, "HOST:PORT of the unit whose clock to follow");
    app.add_option("--clock-start", options.unit.clock.startUs,
                   "Microseconds that the unit's clock starts ahead by")
        ->capture_default_str();
    app.add_option("--board", options.board,
                   "Where the devices are: \"simulated\", \"simulated:FILE\" (a description) or \"system\"")
        ->capture_default_str();
    app.add_option("--config", options.devices.configuration, "File that names the board's devices");
    app.add_option("--gpio-server", gpioServer, "ADDRESS:PORT or PORT to serve the GPIO signals on");
    app.add_option("--gpio-client", gpioClient,
                   "HOST:PORT of the unit whose GPIO signals to use, instead of the board's own");
    app.add_option("--console", console, "ADDRESS:PORT or PORT to serve the text console on");
    app.add_option("--watchdog", watchdog, "HOST:PORT of the watchdog service to report to");
    app.add_option("--allow", allowed,
                   "ADDRESS or ADDRESS/PREFIX of peers to serve, and nobody else; may be repeated");
    app.add_option("--max-peers", options.unit.maxPeers, "Connections to serve at a time")
        ->capture_default_str();
    app.add_option("--console-mask", consoleMask, "Debug categories for the console")->capture_default_str();
    app.add_option("--log-mask", logMask, "Debug categories for the log")->capture_default_str();
    app.add_option("--log-directory", options.logDirectory, "Keep log files in this folder (it must exist)");
    app.add_option("--debug-level", options.debugLevel, "0 is quiet, 1 shows what the worker does")
        ->capture_default_str();
    app.add_flag("--source-location", options.debug.showSourceLocation,
                 "Show the source line of each message");
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
    options.unit.listen = unit::ParseListener(listen);
    for (const std::string& peer : peers)
        options.unit.links.push_back(unit::ParsePeer(peer));
    if (!clockServer.empty())
        options.unit.clock.serve = unit::ParseListener(clockServer);
    if (!clockClient.empty())
        options.unit.clock.follow = unit::ParsePeer(clockClient);
    if (!console.empty())
        options.devices.console = unit::ParseListener(console);
    if (!gpioServer.empty())
        options.devices.gpioServer = unit::ParseListener(gpioServer);
    if (!gpioClient.empty())
        options.devices.gpioClient = unit::ParsePeer(gpioClient);
    if (!watchdog.empty())
        options.unit.watchdog = unit::ParsePeer(watchdog);
    for (const std::string& network : allowed)
        options.unit.allowed.Add(network);
    options.devices.allowed = options.unit.allowed;
    options.unit.mirrorPatterns.assign(mirror.begin(), mirror.end());
    options.debug.consoleMask = ParseMask(consoleMask);
    options.debug.logMask = ParseMask(logMask);
    return -1;
}

std::unique_ptr<quarn::Logger> OpenLog(const std::string& directory) {
    if (directory.empty())
        return nullptr;
    if (access(directory.c_str(), W_OK | X_OK) != 0)
        throw quarn::MonitorException("Cannot write log files to \"%s\": %s", directory.c_str(),
                                      strerror(errno));
    quarn::LoggerOptions options;
    options.directory = directory;
    return std::make_unique<quarn::Logger>(options);
}

/// A worker that runs from construction to destruction.
struct RunningWorker {
    explicit RunningWorker(quarn::Worker& started) : worker(started) { worker.Start(); }
    ~RunningWorker() { worker.Stop(); }

    quarn::Worker& worker;
};

void SayWhere(const std::string& what, const unit::Endpoint& listener, uint16_t port) {
    printf("%s on %s:%u\n", what.c_str(), listener.address.ToString().c_str(), port);
}

/// Serves until the process is told to end (true) or the worker has ended by itself (false).
bool Serve(const Options& options, const sigset_t& endSignals) {
    quarn::Debuggable levels(nullptr);
    levels.SetDebugLevel(options.debugLevel);
    unit::Board board(options.board);
    const std::string& name = options.unit.name;
    unit::Unit unit(&levels, options.unit, board.IO(), [] { kill(getpid(), SIGTERM); });
    SayWhere(name + " listens", options.unit.listen, unit.GetPort());
    if (options.unit.clock.serve)
        SayWhere(name + " tells the time", *options.unit.clock.serve, unit.GetClockPort());
    const RunningWorker running(unit);
    unit::Devices devices(&levels, board, unit, options.devices);
    if (options.devices.console)
        SayWhere(name + " has its console", *options.devices.console, devices.GetConsolePort());
    if (options.devices.gpioServer)
        SayWhere(name + " serves its GPIO signals", *options.devices.gpioServer, devices.GetGPIOPort());
    printf("%s is ready\n", name.c_str());
    int signal = 0;
    sigwait(&endSignals, &signal);
    return unit.GetStatus() == "running";
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    srand(static_cast<unsigned>(time(nullptr)) ^
          static_cast<unsigned>(getpid()));  // for tokens and the clock's jitter
    // Blocked before there are threads, so that only this thread takes them.
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGTERM);
    sigaddset(&endSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);
    try {
        Options options;
        const int status = ParseCommandLine(argc, argv, options);
        if (status >= 0)
            return status;
        const std::unique_ptr<quarn::Logger> logger = OpenLog(options.logDirectory);
        quarn::Debug debug(options.debug, logger.get());
        debug.SetAsDefault();
        const bool toldToEnd = Serve(options, endSignals);
        printf("%s ends\n", options.unit.name.c_str());
        return toldToEnd ? 0 : 1;
    } catch (const quarn::MonitorException& e) {
        fprintf(stderr, "quarn-unit: %s\n", e.Description().c_str());
        return 1;
    }
}
