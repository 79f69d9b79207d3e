#pragma once

/// Debug output filtered by category, to standard output and to a log.
///
///     quarn::DebugOptions options;
///     options.consoleMask = quarn::DEBUG_ERR | quarn::DEBUG_WARN | quarn::DEBUG_INFO;
///     quarn::Debug debug(options, nullptr);
///     debug.SetAsDefault();
///     ...
///     if (quarn::DefaultDebug())
///         quarn::DefaultDebug()->Printf(quarn::DEBUG_ERR, __FILE__, __LINE__, "PLL \"%s\" lost lock", name);
///
/// A message goes to each destination whose mask shares a bit with the message's; a message with mask 0
/// always goes to both. Printing reports no failure: what cannot be formatted or written is dropped.

#include <quarn/Attributes.h>

#include <stdint.h>
#include <stdio.h>

#include <atomic>
#include <list>
#include <memory>
#include <string>

namespace quarn {

class Logger;

/// Message categories; other bits have no name but pass the filters like these.
enum DebugMask : uint32_t {
    DEBUG_ALWAYS = 0,
    DEBUG_ERR = 0x00000001,
    DEBUG_WARN = 0x00000002,
    DEBUG_INFO = 0x00000004,
    DEBUG_TIMING = 0x00000008,
    DEBUG_SETTINGS = 0x00000010,
    DEBUG_STATUS = 0x00000020,
    DEBUG_ACTION = 0x00000040,
    DEBUG_LORA = 0x00000080,
    DEBUG_RF = 0x00000100,
    DEBUG_MULTI = 0x00000200,
    DEBUG_MIRROR = 0x00000400,
    DEBUG_DANTE = 0x00000800,
    DEBUG_LOGIC_IO = 0x00001000,
    DEBUG_DESK = 0x00002000,
};

/// Where messages go, and in which form; each mask is of DebugMask bits.
struct QUARN_API DebugOptions {
    uint32_t consoleMask = DEBUG_ERR | DEBUG_WARN;  ///< categories printed to standard output
    uint32_t logMask = DEBUG_ERR | DEBUG_WARN;      ///< categories passed to the logger
    bool showSourceLocation = false;                ///< prefix each line with source file and line
};

class QUARN_API Debug {
public:
    /// Copies the options. The logger may be null; it is not owned and must outlive this object.
    Debug(const DebugOptions& options, Logger* logger);
    /// If this object is the default, there is none from then on; no other thread may print through it
    /// meanwhile.
    ~Debug();
    Debug(const Debug&) = delete;
    Debug& operator=(const Debug&) = delete;

    /// Makes this object the one that DefaultDebug() returns.
    void SetAsDefault();

    /// Whether one of the two masks wants the category; mask 0, which is printed always, is not relevant
    /// here.
    bool IsRelevant(uint32_t mask) const;

    /// Prints one message with its prefixes: the time, the thread's name and, if asked for, `file` without
    /// its folders and `line`. A newline is added unless the text ends in one. A message that no mask wants
    /// costs the test and nothing else. Leaves errno alone. Any thread may call it; messages do not
    /// interleave. Throws std::system_error when the mutex that keeps them apart cannot be locked.
    void Printf(uint32_t mask, const char* file, int line, const char* format, ...) QUARN_PRINTF(5, 6);

    /// Prints each line as a message of its own. Deliberately not serialised with Printf(): messages of other
    /// threads may come between the lines.
    void PrintList(uint32_t mask, const char* file, int line, const std::list<std::string>& lines);

    /// The mask as "0x%08X".
    static std::string FormatMask(uint32_t mask);
    /// Writes the table of categories, each line behind the indent.
    static void Usage(FILE* stream, const char* indent);

    /// Names the calling thread; the kernel keeps 15 characters.
    static void SetThreadName(const std::string& name);
    /// The calling thread's name, empty when it cannot be read.
    static std::string GetThreadName();
    /// From now on every Debug of the process prints local time, this far east of UTC.
    static void SetTimeZone(int32_t minutesEastOfUTC);

    /// Has the logger take a snapshot; does nothing without one.
    void Snapshot();

    /// Whether "/tmp/test/legacy" existed when this object was made or UpdateTestMode() was last called.
    bool IsLegacyTestModeEnabled() const;
    void UpdateTestMode();

private:
    friend Debug* DefaultDebug();

    class Impl;
    std::unique_ptr<Impl> impl_;

    static std::atomic<Debug*> default_;
};

/// The process's default Debug, through which the library prints; null while there is none. Any thread may
/// ask.
inline Debug* DefaultDebug() {
    return Debug::default_.load(std::memory_order_acquire);
}

}  // namespace quarn
