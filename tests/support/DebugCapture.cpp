#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace quarn::test {

std::vector<std::string> WithoutPrefixes(std::vector<std::string> lines) {
    for (std::string& line : lines) {
        // Two words of time (or one of uptime), then the thread's name in brackets.
        const size_t end = line.find("] ", line.find('['));
        if (end != std::string::npos)
            line.erase(0, end + 2);
    }
    return lines;
}

DebugCapture::DebugCapture(uint32_t consoleMask)
    : file_(memfd_create("stdout", MFD_CLOEXEC)),
      debug_({.consoleMask = consoleMask, .logMask = 0}, nullptr) {
    fflush(stdout);
    savedStdout_ = dup(STDOUT_FILENO);
    if (dup2(file_, STDOUT_FILENO) < 0)
        throw std::runtime_error("cannot catch standard output");
    debug_.SetAsDefault();
}

DebugCapture::~DebugCapture() {
    const std::string caught = Text();
    dup2(savedStdout_, STDOUT_FILENO);
    close(savedStdout_);
    if (::testing::Test::HasFailure())
        puts(caught.c_str());  // the test's own report is in it
    close(file_);
}

std::string DebugCapture::Text() const {
    fflush(stdout);
    std::string text(static_cast<size_t>(lseek(file_, 0, SEEK_END)), '\0');
    text.resize(static_cast<size_t>(std::max<ssize_t>(0, pread(file_, text.data(), text.size(), 0))));
    return text;
}

size_t DebugCapture::Count(const std::string& text) {
    return static_cast<size_t>(std::ranges::count(Lines(), text));
}

size_t DebugCapture::CountContaining(const std::string& part) {
    const auto contains = [&](const std::string& line) { return line.find(part) != std::string::npos; };
    return static_cast<size_t>(std::ranges::count_if(Lines(), contains));
}

}  // namespace quarn::test
