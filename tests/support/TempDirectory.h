#pragma once

#include <string>
#include <vector>

namespace quarn::test {

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
    std::string Read(const std::string& name) const;
    /// The names inside, sorted.
    std::vector<std::string> Names() const;

private:
    std::string path_;
};

}  // namespace quarn::test
