#pragma once

#include <stddef.h>
#include <stdint.h>

#include <atomic>

namespace quarn::test {

/// Sees the program's allocations with new since it was made, and makes those above a limit fail. One at a
/// time, and only in programs that use it.
class AllocationWatch {
public:
    explicit AllocationWatch(size_t newLimit = SIZE_MAX) {
        largest = 0;
        limit = newLimit;
    }
    ~AllocationWatch() { limit = SIZE_MAX; }

    size_t Largest() const { return largest; }

    /// How many the calling thread has made in its life.
    static inline thread_local uint64_t countOfThread = 0;
    static inline std::atomic<size_t> largest = 0, limit = SIZE_MAX;
};

}  // namespace quarn::test
