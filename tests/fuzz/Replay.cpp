// Stands in for the fuzzer in the normal test run: gives a target each file of the folder, and copies of it in which some
// bits are changed and some bytes missing, the same ones in each run.

#include "fuzz/Fuzz.h"

#include <stdio.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>

int main(int, char** arguments) {
    constexpr int kCopies = 32;  // of a file
    std::map<std::filesystem::path, quarn::test::Bytes> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        seeds[entry.path()] = {std::istreambuf_iterator<char>(file), {}};
    }
    std::mt19937 random(1);
    for (const auto& [path, seed] : seeds)
        for (int copy = 0; copy <= kCopies; ++copy) {
            quarn::test::Bytes bytes = seed;
            for (int changes = copy % 8; changes > 0 && !bytes.empty(); --changes) {
                const auto at = bytes.begin() + ptrdiff_t(random() % bytes.size());
                if (random() % 4 == 0)
                    bytes.erase(at);
                else
                    *at ^= uint8_t(1U << random() % 8);
            }
            fprintf(stderr, "%s, copy %d\n", path.filename().c_str(), copy);  // the last one is what fails
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        }
    fprintf(stderr, "%zu seeds\n", seeds.size());
    return seeds.empty() ? 1 : 0;
}
