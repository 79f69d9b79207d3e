#include "support/AllocationWatch.h"

#include <stdlib.h>

#include <algorithm>
#include <new>

using quarn::test::AllocationWatch;

[[gnu::noinline]] void* operator new(size_t size) {
    ++AllocationWatch::countOfThread;
    AllocationWatch::largest = std::max<size_t>(AllocationWatch::largest, size);
    void* const memory = size > AllocationWatch::limit ? nullptr : malloc(size);
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
