#pragma once

#include <quarn/Debug.h>

#include "support/TempDirectory.h"

#include <string>
#include <vector>

namespace quarn::test {

/// The messages of printed or logged lines: without the time and thread prefixes.
std::vector<std::string> WithoutPrefixes(std::vector<std::string> lines);

/// Makes a Debug of its own the default and catches what goes to standard output until it is destroyed.
class DebugCapture {
public:
    /// Catches every category unless told otherwise.
    explicit DebugCapture(uint32_t consoleMask = 0xFFFFFFFF);
    ~DebugCapture();

    /// The lines caught so far as they are.
    std::vector<std::string> RawLines() { return SplitLines(Text()); }
    /// The messages caught so far, without the time and thread prefixes.
    std::vector<std::string> Lines() { return WithoutPrefixes(RawLines()); }
    /// How many caught messages equal the text.
    size_t Count(const std::string& text);
    bool Contains(const std::string& text) { return Count(text) != 0; }
    /// How many caught messages contain the text.
    size_t CountContaining(const std::string& part);

private:
    std::string Text() const;

    int savedStdout_;
    int file_;
    Debug debug_;
};

}  // namespace quarn::test
