#include "support/TempDirectory.h"

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace quarn::test {

namespace fs = std::filesystem;

std::vector<std::string> SplitLines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

TempDirectory::TempDirectory() : path_((fs::temp_directory_path() / "quarn-test-XXXXXX").string()) {
    if (!mkdtemp(path_.data()))
        throw std::runtime_error("cannot create a temporary directory");
}

TempDirectory::~TempDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void TempDirectory::Write(const std::string& name, const std::string& contents) const {
    std::ofstream file(File(name), std::ios::binary);
    file << contents << std::flush;
    if (!file)
        throw std::runtime_error("cannot write " + File(name));
}

std::vector<std::string> TempDirectory::Names(const std::string& folder) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(File(folder)))
        names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

}  // namespace quarn::test
