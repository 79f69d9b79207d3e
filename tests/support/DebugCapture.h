#pragma once

#include <quarn/Debug.h>

#include "support/TempDirectory.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

namespace quarn::test {

/// The messages of printed or logged lines: without the time and thread prefixes.
inline Lines WithoutPrefixes(Lines lines) {
    for (std::string& line : lines) {
        // Two words of time (or one of uptime), then the thread's name in brackets.
        const size_t end = line.find("] ", line.find('['));
        if (end != std::string::npos)
            line.erase(0, end + 2);
    }
    return lines;
}

/// Makes a Debug of its own the default and catches what goes to standard output until it is destroyed.
class DebugCapture {
public:
    /// Catches every category unless told otherwise.
    explicit DebugCapture(uint32_t consoleMask = 0xFFFFFFFF)
        : debug_({.consoleMask = consoleMask, .logMask = 0}, nullptr) {
        fflush(stdout);
        savedStdout_ = dup(STDOUT_FILENO);
        if (dup2(file_, STDOUT_FILENO) < 0)
            throw std::runtime_error("cannot catch standard output");
        debug_.SetAsDefault();
    }
    ~DebugCapture() {
        const std::string caught = Text();
        dup2(savedStdout_, STDOUT_FILENO);
        close(savedStdout_);
        if (::testing::Test::HasFailure())
            puts(caught.c_str());  // the test's own report is in it
        close(file_);
    }

    /// The lines caught so far as they are.
    std::vector<std::string> RawLines() { return SplitLines(Text()); }
    /// The messages caught so far, without the time and thread prefixes.
    std::vector<std::string> Lines() { return WithoutPrefixes(RawLines()); }
    /// How many caught messages equal the text.
    size_t Count(const std::string& text) { return std::ranges::count(Lines(), text); }
    bool Contains(const std::string& text) { return Count(text) != 0; }
    /// How many caught messages contain the text.
    size_t CountContaining(const std::string& part) {
        return std::ranges::count_if(Lines(),
                                     [&](auto& line) { return line.find(part) != std::string::npos; });
    }

private:
    std::string Text() const {
        fflush(stdout);
        std::string text(static_cast<size_t>(lseek(file_, 0, SEEK_END)), '\0');
        text.resize(static_cast<size_t>(std::max<ssize_t>(0, pread(file_, text.data(), text.size(), 0))));
        return text;
    }

    const int file_ = memfd_create("stdout", MFD_CLOEXEC);
    int savedStdout_;
    Debug debug_;
};

}  // namespace quarn::test
