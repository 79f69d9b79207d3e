// Stands in for the fuzzer in the normal test run: gives a target each file of the folder, and changed copies of it, the
// same ones in each run.

#include "fuzz/Fuzz.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>

namespace {

using quarn::test::Bytes;

constexpr int kCopies = 32;  // of a file
constexpr size_t kLongestChange = 16;

/// A copy with some bits flipped, and some bytes missing, repeated, or as in the other one.
Bytes Changed(Bytes bytes, const Bytes& other, std::mt19937& random) {
    const auto some = [&random](const Bytes& from) {
        const size_t start = random() % (from.size() + 1), length = random() % kLongestChange;
        return std::pair{start, std::min(start + length, from.size())};
    };
    for (size_t changes = 1 + random() % 4; changes > 0; --changes) {
        const auto [start, end] = some(bytes);
        const Bytes piece(bytes.begin() + ptrdiff_t(start), bytes.begin() + ptrdiff_t(end));
        const auto [otherStart, otherEnd] = some(other);
        switch (random() % 4) {
            case 0:
                if (start < bytes.size())
                    bytes[start] ^= uint8_t(1U << random() % 8);
                break;
            case 1:
                bytes.erase(bytes.begin() + ptrdiff_t(start), bytes.begin() + ptrdiff_t(end));
                break;
            case 2:
                bytes.insert(bytes.begin() + ptrdiff_t(end), piece.begin(), piece.end());
                break;
            default:
                bytes.insert(bytes.begin() + ptrdiff_t(start), other.begin() + ptrdiff_t(otherStart),
                             other.begin() + ptrdiff_t(otherEnd));
        }
    }
    return bytes;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        fprintf(stderr, "usage: %s SEEDS\n", arguments[0]);
        return 2;
    }
    std::map<std::filesystem::path, Bytes> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        seeds[entry.path()] = {std::istreambuf_iterator<char>(file), {}};
    }
    std::mt19937 random(1);
    for (const auto& [path, seed] : seeds)
        for (int copy = 0; copy <= kCopies; ++copy) {
            const Bytes& other = std::next(seeds.begin(), ptrdiff_t(random() % seeds.size()))->second;
            const Bytes bytes = copy == 0 ? seed : Changed(seed, other, random);
            fprintf(stderr, "%s, copy %d\n", path.filename().c_str(), copy);  // the last one is what fails
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        }
    fprintf(stderr, "%zu seeds\n", seeds.size());
    return seeds.empty() ? 1 : 0;
}
