#pragma once

/// The console command "mon": what the workers of the process do, and how often.
///
///     quarn::WorkerAccess monitor;
///     try {
///         accessors.Add(monitor);
///     } catch (const quarn::MonitorException& e) {  // another accessor has a command "mon"
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///     quarn::WriteLines(stdout, accessors.Execute("mon stats btx*"));
///
/// Its commands take the lock of the registry of workers and then each worker's: they must not be executed by
/// a thread that holds a worker's lock. A ConsoleServer releases its own for that. Otherwise any thread may
/// execute them, several at a time too.

#include <quarn/Accessor.h>
#include <quarn/Attributes.h>

namespace quarn {

class QUARN_API WorkerAccess final : public Accessor {
public:
    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override;

    /// "summary": a table of all workers. "stats [PATTERN]": the statistics of all workers, or of those whose
    /// names match (see Wildcard), case mattering. "clear": starts all statistics afresh. Throws
    /// MonitorException "MON: no worker matches \"%s\"", the parser's, and what Worker's functions throw when
    /// a worker keeps its lock for longer than a second.
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override;
};

}  // namespace quarn
