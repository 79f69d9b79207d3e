#pragma once

/// The registry of a daemon's accessors: routes the sections of the configuration file and the lines of the
/// console to them.
///
///     quarn::I2CAccess i2c;
///     quarn::Accessors accessors;
///     try {
///         accessors.Add(i2c);
///         accessors.Configure("/etc/receiver.conf");
///     } catch (const quarn::MonitorException& e) {  // no such file; bad lines are only printed
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///     quarn::WriteLines(stdout, accessors.Execute("i2c list"));  // the reason, if it fails, then 0x04
///
/// The format of the file and the rules of the console are described in docs/console.md.
///
/// Not locked: the daemon adds and configures at start-up; from then on one thread executes, such as that of
/// a ConsoleServer. Code that calls Execute() does not hold the lock of a worker, since accessors take those
/// that they need.

#include <quarn/Attributes.h>

#include <list>
#include <memory>
#include <string>

namespace quarn {

class Accessor;

class QUARN_API Accessors {
public:
    Accessors();
    ~Accessors();
    Accessors(const Accessors&) = delete;
    Accessors& operator=(const Accessors&) = delete;

    /// Registers the accessor, which must outlive the registry's use, for its commands and its sections.
    /// Throws MonitorException "Multiple accessors claim console command \"%s\"" or "Multiple accessors claim
    /// configuration section \"%s\""; what was entered before stays.
    void Add(Accessor& accessor);

    /// Hands each line of the file to the accessor of its section. A line with any defect is printed with
    /// mask ERR as "PATH:LINE: REASON", and reading goes on; a section that nobody claims is printed once
    /// with mask WARN and skipped. A line may have 1048576 characters. Where the file cannot be read on, that
    /// is printed as the defect of the line, and the lines before it count. Throws MonitorException "Could not
    /// open %s for reading"; exceptions of other types that an accessor throws pass through and end the
    /// reading.
    void Configure(const std::string& path);

    /// Runs one line. Returns the response of the accessor, or the description of the MonitorException that
    /// it threw, or "std::exception:" and the message of another standard exception, and always a last line
    /// that consists of the character 0x04. "help" and "?", whatever follows, list the commands of all
    /// accessors. Exceptions that are not standard ones pass through.
    std::list<std::string> Execute(const std::string& line);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
