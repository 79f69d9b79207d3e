#include <quarn/Logger.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include <stdarg.h>

namespace quarn {

MonitorException::MonitorException(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    message_ = FormatV(format, arguments);
    va_end(arguments);
    if (IsBacktraceSupported())
        backtrace_ = Backtrace(1);
}

// The newline inside most of these lines is deliberate, although Print() and Log() add one to each: the
// printed report has an empty line after the message and after every frame.
std::list<std::string> MonitorException::List() const {
    std::list<std::string> lines;
    const auto addFrames = [&lines](const char* heading, const std::vector<std::string>& frames) {
        if (frames.empty())
            return;
        lines.emplace_back(heading);
        for (const std::string& frame : frames)
            lines.push_back(Format("  %s\n", frame.c_str()));
    };
    if (IsBacktraceSupported())
        addFrames("At:", Backtrace(1));
    lines.push_back(Format("Exception: %s\n", message_.c_str()));
    addFrames("Backtrace:", backtrace_);
    return lines;
}

void MonitorException::Print(FILE* stream) const {
    for (const std::string& line : List())
        fputs((line + "\n").c_str(), stream);
}

void MonitorException::Log(Logger* logger) const {
    for (const std::string& line : List())
        logger->Write((line + "\n").c_str());
}

void MonitorException::Append(const std::string& path) const {
    FILE* file = fopen(path.c_str(), "ate");
    if (!file)
        return;
    Print(file);
    fclose(file);
}

void MonitorException::EnableBacktrace() {
    BacktraceSetup();
}

void BacktraceSetup() {}

bool IsBacktraceSupported() {
    return false;
}

std::vector<std::string> Backtrace(int) {
    return {"Backtrace not supported"};
}

}  // namespace quarn
