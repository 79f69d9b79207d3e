#pragma once

/// The console command "var": lists, shows and sets the variables of an index by their keys.
///
///     quarn::VariableAccess variables(index, &receiver);  // the worker that owns the variables
///     try {
///         accessors.Add(variables);
///     } catch (const quarn::MonitorException& e) {  // another accessor has a command "var"
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///     quarn::WriteLines(stdout, accessors.Execute("var set rf.*.gain -12"));
///
/// Keys are given as patterns (see Wildcard), in which case matters.

#include <quarn/Accessor.h>
#include <quarn/Attributes.h>

namespace quarn {

class VariableIndex;
class Worker;

class QUARN_API VariableAccess final : public Accessor {
public:
    /// Each command is executed under the owner's lock, and one that set a variable wakes the owner, which
    /// has been started by then. Without an owner, commands must be executed by the thread that owns the
    /// variables; so they must where the owner itself would execute them, because the lock is not recursive.
    /// Both must outlive this object.
    explicit VariableAccess(VariableIndex& index, Worker* owner = nullptr);

    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override;

    /// "list [PATTERN ...]": a table of all or matching variables. "show PATTERN ...": "KEY = VALUE" for
    /// each. "set PATTERN VALUE": gives each matching variable the value, blanks and all if it is quoted, and
    /// shows it. A variable that cannot be read or set gets a line "VAR: KEY: REASON", and the others are
    /// dealt with all the same. Throws MonitorException "VAR: no variable matches \"%s\"", "VAR: worker
    /// \"%s\" has ended", the parser's, and Worker::Lock()'s.
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override;

private:
    VariableIndex& index_;
    Worker* const owner_;
};

}  // namespace quarn
