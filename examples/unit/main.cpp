/// quarn-unit: a small but complete unit daemon.

#include <quarn/Debug.h>
#include <quarn/Debuggable.h>
#include <quarn/Logger.h>
#include <quarn/MonitorException.h>

#include "common/Endpoint.h"
#include "unit/Board.h"
#include "unit/CommandLine.h"
#include "unit/Devices.h"
#include "unit/Unit.h"

#include <errno.h>
#include <malloc.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <string>

namespace {

/// Throws that the unit cannot do `what` to the folder when it cannot write files into it.
void CheckFolder(const char* what, const std::string& folder) {
    if (access((folder + "/.").c_str(), W_OK | X_OK) != 0)
        throw quarn::MonitorException("Cannot %s \"%s\": %s", what, folder.c_str(), strerror(errno));
}

std::unique_ptr<quarn::Logger> OpenLog(const std::string& directory) {
    if (directory.empty())
        return nullptr;
    CheckFolder("write log files to", directory);
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
bool Serve(const unit::CommandLine& options, const sigset_t& endSignals) {
    quarn::Debuggable levels(nullptr);
    levels.SetDebugLevel(options.debugLevel);
    unit::Board board(options.board);
    if (!options.unit.inbox.empty())
        CheckFolder("receive files into", options.unit.inbox);
    unit::CheckUnused(options.unit.listen);
    const std::string& name = options.unit.name;
    unit::Unit unit(&levels, options.unit, board.IO(), [] { kill(getpid(), SIGTERM); });
    SayWhere(name + " listens", options.unit.listen, unit.GetPort());
    if (options.unit.clock.serve)
        SayWhere(name + " tells the time", *options.unit.clock.serve, unit.GetClockPort());
    const RunningWorker running(unit);
    for (const auto& listener : {options.devices.console, options.devices.gpioServer})
        if (listener)
            unit::CheckUnused(*listener);
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

/// Of the unit's threads one is busy at a time, and what many peers took can be given back whole from one heap only.
void ShareOneHeap() {
#ifdef __GLIBC__
    mallopt(M_ARENA_MAX, 1);
#endif
}

}  // namespace

int main(int argc, char** argv) {
    ShareOneHeap();
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
        unit::CommandLine options;
        const int status = options.Parse(argc, argv);
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
