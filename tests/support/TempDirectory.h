#pragma once

#include <string>
#include <vector>

namespace quarn::test {

using Lines = std::vector<std::string>;

/// What stands before, between and behind the newlines; nothing behind the last one is no line.
std::vector<std::string> SplitLines(const std::string& text);

std::string ReadFile(const std::string& path);

/// A folder under the system's temporary one that goes with this object, contents included.
class TempDirectory {
public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::string& Path() const { return path_; }
    /// The path of a name inside.
    std::string File(const std::string& name) const { return path_ + "/" + name; }
    /// Creates or replaces a file.
    void Write(const std::string& name, const std::string& contents) const;
    std::string Read(const std::string& name) const { return ReadFile(File(name)); }
    /// The file's lines.
    std::vector<std::string> Lines(const std::string& name) const { return SplitLines(Read(name)); }
    /// The names inside, or in a folder inside, sorted.
    std::vector<std::string> Names(const std::string& folder = "") const;

private:
    std::string path_;
};

}  // namespace quarn::test
