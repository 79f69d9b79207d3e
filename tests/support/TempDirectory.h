#pragma once

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace quarn::test {

using Lines = std::vector<std::string>;

/// What stands before, between and behind the newlines; nothing behind the last one is no line.
inline Lines SplitLines(const std::string& text) {
    std::istringstream stream(text);
    Lines lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

/// A folder under the system's temporary one that goes with this object, contents included.
class TempDirectory {
public:
    TempDirectory() {
        if (!mkdtemp(path_.data()))
            throw std::runtime_error("cannot create a temporary directory");
    }
    ~TempDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::string& Path() const { return path_; }
    /// The path of a name inside.
    std::string File(const std::string& name) const { return path_ + "/" + name; }
    /// Creates or replaces a file.
    void Write(const std::string& name, const std::string& contents) const {
        std::ofstream file(File(name), std::ios::binary);
        if (!(file << contents << std::flush))
            throw std::runtime_error("cannot write " + File(name));
    }
    std::string Read(const std::string& name) const { return ReadFile(File(name)); }
    /// The file's lines.
    std::vector<std::string> Lines(const std::string& name) const { return SplitLines(Read(name)); }
    /// The names inside, or in a folder inside, sorted.
    std::vector<std::string> Names(const std::string& folder = "") const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(File(folder)))
            names.push_back(entry.path().filename());
        std::ranges::sort(names);
        return names;
    }

private:
    std::string path_ = std::filesystem::temp_directory_path() / "quarn-test-XXXXXX";
};

}  // namespace quarn::test
