#pragma once

#include <stdint.h>

#include <atomic>

namespace quarn {

/// A number of the calling thread, never 0 and never used again for another thread, so that what a finished
/// thread left locked does not look like its successor's. Costs no system call.
inline uint64_t CurrentThreadId() {
    static std::atomic<uint64_t> last{0};
    static thread_local constinit uint64_t id = 0;
    if (id == 0)
        id = last.fetch_add(1, std::memory_order_relaxed) + 1;
    return id;
}

}  // namespace quarn
