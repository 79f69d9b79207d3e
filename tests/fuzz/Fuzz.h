#pragma once

// What the fuzz targets share. A target is one program: the fuzzer has it check input after input, the test run has it
// check its seeds.

#include <quarn/MonitorException.h>
#include <quarn/Variant.h>

#include <stddef.h>
#include <stdint.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace quarn::test {

using Bytes = std::vector<uint8_t>;

/// An input taken apart from its front. What is not there reads as zero or empty.
class Input {
public:
    Input(const uint8_t* data, size_t size) : left_(data, size) {}

    uint8_t Byte() {
        const Bytes byte = Take(1);
        return byte.empty() ? 0 : byte[0];
    }
    Bytes Take(size_t most) {
        const auto taken = left_.first(std::min(most, left_.size()));
        left_ = left_.subspan(taken.size());
        return {taken.begin(), taken.end()};
    }
    Bytes Rest() { return Take(left_.size()); }
    std::string Text() {
        const Bytes bytes = Rest();
        return {bytes.begin(), bytes.end()};
    }
    bool IsEmpty() const { return left_.empty(); }

private:
    std::span<const uint8_t> left_;
};

/// What a target defines: ends the process when the input shows a fault.
void CheckInput(Input& input);

/// Reports a fault unless the condition holds.
void Require(bool holds, const char* what, const char* file = __builtin_FILE(), int line = __builtin_LINE());

/// What the call's MonitorException says, empty when it throws none. All others end the process.
template <class Call>
std::string Failure(Call&& call) {
    try {
        call();
    } catch (const MonitorException& e) {
        Require(!e.Description().empty(), "an exception without description");
        return e.Description();
    }
    return "";
}

inline Bytes BlobOf(const Variant& variant) {
    Bytes blob;
    variant.ToBlob(blob);
    return blob;
}

/// Hands the bytes on in the pieces in which a stream might bring them, cut at random but by the cut
/// number alone, which is the length of the longest piece; 0 for all in one, or in as few as the most allows.
template <class Container, class Take>
void InPieces(size_t cut, const Container& bytes, Take&& take, size_t most = SIZE_MAX) {
    uint32_t random = uint32_t(cut);
    for (size_t start = 0, length; start < bytes.size(); start += length) {
        random = random * 1664525 + 1013904223;
        length = std::min({bytes.size() - start, most, cut == 0 ? SIZE_MAX : 1 + (random >> 16) % cut});
        const auto from = bytes.begin() + ptrdiff_t(start);
        take(Container(from, from + ptrdiff_t(length)));
    }
}

}  // namespace quarn::test
