#include "support/DebugCapture.h"

#include "support/TempDirectory.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace quarn::test {

namespace {

DebugOptions OptionsFor(uint32_t consoleMask) {
    DebugOptions options;
    options.consoleMask = consoleMask;
    options.logMask = 0;
    return options;
}

std::string WithoutPrefix(const std::string& line) {
    // Two words of time (or one of uptime), then the thread's name in brackets.
    const size_t bracket = line.find('[');
    const size_t end = bracket == std::string::npos ? bracket : line.find("] ", bracket);
    return end == std::string::npos ? line : line.substr(end + 2);
}

}  // namespace

std::vector<std::string> WithoutPrefixes(std::vector<std::string> lines) {
    std::transform(lines.begin(), lines.end(), lines.begin(), WithoutPrefix);
    return lines;
}

DebugCapture::DebugCapture(uint32_t consoleMask)
    : savedStdout_(-1), file_(memfd_create("stdout", MFD_CLOEXEC)), debug_(OptionsFor(consoleMask), nullptr) {
    fflush(stdout);
    savedStdout_ = dup(STDOUT_FILENO);
    if (file_ < 0 || savedStdout_ < 0 || dup2(file_, STDOUT_FILENO) < 0)
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

std::vector<std::string> DebugCapture::RawLines() {
    return SplitLines(Text());
}

std::vector<std::string> DebugCapture::Lines() {
    return WithoutPrefixes(RawLines());
}

size_t DebugCapture::Count(const std::string& text) {
    const std::vector<std::string> lines = Lines();
    return static_cast<size_t>(std::count(lines.begin(), lines.end(), text));
}

size_t DebugCapture::CountContaining(const std::string& part) {
    const std::vector<std::string> lines = Lines();
    return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(part) != std::string::npos;
    }));
}

}  // namespace quarn::test
