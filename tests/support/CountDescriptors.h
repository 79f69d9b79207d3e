#pragma once

#include <stddef.h>

#include <filesystem>
#include <iterator>

namespace quarn::test {

/// The number of this process's open file descriptors.
inline size_t CountDescriptors() {
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(open), end(open)));
}

}  // namespace quarn::test
