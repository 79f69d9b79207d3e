// Stands in for the fuzzer in the normal test run: gives a target each file of the folder once.

#include "fuzz/Fuzz.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        fprintf(stderr, "usage: %s SEEDS\n", arguments[0]);
        return 2;
    }
    std::set<std::filesystem::path> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1]))
        seeds.insert(entry.path());
    for (const auto& seed : seeds) {
        std::ifstream file(seed, std::ios::binary);
        const quarn::test::Bytes bytes{std::istreambuf_iterator<char>(file), {}};
        fprintf(stderr, "%s\n", seed.filename().c_str());  // the last one is the one that fails
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    fprintf(stderr, "%zu seeds\n", seeds.size());
    return seeds.empty() ? 1 : 0;
}
