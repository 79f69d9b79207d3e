#pragma once

/// The one exception type of the library.
///
/// Every run-time failure is thrown as a MonitorException that carries its message. It has no base class, so
/// a handler names it:
///
///     try {
///         uint16_t port = quarn::ParseU16(text, 0);
///         ...
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "bad port: %s\n", e.Description().c_str());
///     }
///
/// An exception is used by one thread at a time. Rendering it fails only for want of memory.

#include <quarn/Attributes.h>

#include <stdio.h>

#include <list>
#include <string>
#include <vector>

namespace quarn {

class Logger;

class QUARN_API MonitorException {
public:
    /// Forms the message as printf would, of any length.
    /// Throws a std::string holding "vasprintf failed (probably out of memory)" when it cannot be formed.
    explicit MonitorException(const char* format, ...) QUARN_PRINTF(2, 3);

    MonitorException(const MonitorException&) = default;
    MonitorException& operator=(const MonitorException&) = default;

    /// The message, undecorated. Valid as long as the exception.
    const std::string& Description() const { return message_; }

    /// The report as lines: "Exception: ", the message and a newline that belongs to the line; where
    /// backtraces are supported also the frames of the caller before it and those of the throw site after it.
    std::list<std::string> List() const;

    /// Writes every line of List() and a newline after each, so that an empty line follows the message.
    void Print(FILE* stream) const;

    /// Passes the lines of Print() to the logger, one call a line. The logger must not be null.
    void Log(Logger* logger) const;

    /// Appends what Print() writes to a file. A file that cannot be opened is silently left alone.
    void Append(const std::string& path) const;

    /// Prepares backtraces where the platform has them; call once at program start, before there are threads.
    static void EnableBacktrace();

private:
    std::string message_;
    std::vector<std::string> backtrace_;
};

/// Prepares the process for backtraces; on this platform there is nothing to do.
QUARN_API void BacktraceSetup();

/// Whether Backtrace() yields real frames: false on this platform.
QUARN_API bool IsBacktraceSupported();

/// The calling stack, one string a frame, without the innermost `skip` frames. On this platform the one
/// string "Backtrace not supported".
QUARN_API std::vector<std::string> Backtrace(int skip);

}  // namespace quarn
