#pragma once

#include <stddef.h>
#include <stdint.h>

namespace quarn::test {

/// Sees the program's allocations with new since it was made, and makes those above a limit fail. One at a
/// time, and only in programs that use it.
class AllocationWatch {
public:
    explicit AllocationWatch(size_t limit = SIZE_MAX);
    ~AllocationWatch();
    AllocationWatch(const AllocationWatch&) = delete;
    AllocationWatch& operator=(const AllocationWatch&) = delete;

    size_t Largest() const;
    /// How many the calling thread has made in its life.
    static uint64_t CountOfThread();
};

}  // namespace quarn::test
