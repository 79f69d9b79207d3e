#include "support/AllocationWatch.h"

#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <new>

namespace {

std::atomic<size_t> largest = 0;
std::atomic<size_t> limit = SIZE_MAX;
thread_local uint64_t count = 0;

}  // namespace

[[gnu::noinline]] void* operator new(size_t size) {
    ++count;
    largest = std::max<size_t>(largest, size);
    void* const memory = size > limit ? nullptr : malloc(size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
    free(memory);
}

namespace quarn::test {

AllocationWatch::AllocationWatch(size_t newLimit) {
    largest = 0;
    limit = newLimit;
}

AllocationWatch::~AllocationWatch() {
    limit = SIZE_MAX;
}

size_t AllocationWatch::Largest() const {
    return largest;
}

uint64_t AllocationWatch::CountOfThread() {
    return count;
}

}  // namespace quarn::test
