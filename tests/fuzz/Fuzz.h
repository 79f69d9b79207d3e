#pragma once

// What the fuzz targets share. A target is one program: the fuzzer calls LLVMFuzzerTestOneInput() again and again, and
// the test run calls it once for each of the target's seeds. It ends the process when an input shows a fault.

#include <quarn/MonitorException.h>

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace quarn::test {

using Bytes = std::vector<uint8_t>;

/// Reports a fault unless the condition holds.
inline void Require(bool holds, const char* what, const char* file = __builtin_FILE(),
                    int line = __builtin_LINE()) {
    if (holds)
        return;
    fprintf(stderr, "%s:%d: %s\n", file, line, what);
    abort();
}

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

/// An input taken apart from its front. What is not there reads as zero or empty.
class Input {
public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    uint8_t Byte() {
        if (size_ == 0)
            return 0;
        --size_;
        return *data_++;
    }
    Bytes Take(size_t most) {
        const size_t length = std::min(most, size_);
        const Bytes bytes(data_, data_ + length);
        data_ += length;
        size_ -= length;
        return bytes;
    }
    Bytes Rest() { return Take(size_); }
    std::string Text() {
        const Bytes bytes = Rest();
        return {bytes.begin(), bytes.end()};
    }
    bool IsEmpty() const { return size_ == 0; }

private:
    const uint8_t* data_;
    size_t size_;
};

/// Hands the bytes on in the pieces in which a stream might bring them, cut at random but by the cut
/// number alone, which is the length of the longest piece; 0 for all in one.
template <class Container, class Take>
void InPieces(uint32_t cut, const Container& bytes, Take&& take) {
    uint32_t random = cut;
    for (size_t at = 0; at < bytes.size();) {
        random = random * 1664525 + 1013904223;
        const size_t longest = bytes.size() - at;
        const size_t length = cut == 0 ? longest : std::min<size_t>(longest, 1 + (random >> 16) % cut);
        const auto from = bytes.begin() + ptrdiff_t(at);
        take(Container(from, from + ptrdiff_t(length)));
        at += length;
    }
}

}  // namespace quarn::test
