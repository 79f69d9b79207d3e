#include "memory/Heap.h"

#include <malloc.h>
#include <stdlib.h>

#include <atomic>
#include <new>

namespace {

std::atomic<size_t> inUse = 0;
std::atomic<size_t> most = 0;

// With the word in which malloc keeps the size.
size_t BytesOf(void* memory) {
    return malloc_usable_size(memory) + sizeof(size_t);
}

}  // namespace

void* operator new(size_t size) {
    void* const memory = malloc(size);
    if (!memory)
        throw std::bad_alloc();
    const size_t now = inUse += BytesOf(memory);
    for (size_t before = most; before < now && !most.compare_exchange_weak(before, now);) {
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    if (memory)
        inUse -= BytesOf(memory);
    free(memory);
}

void operator delete(void* memory, size_t) noexcept {
    operator delete(memory);
}

namespace quarn::heap {

size_t InUse() {
    return inUse;
}
size_t Most() {
    return most;
}
void ForgetMost() {
    most = inUse.load();
}

}  // namespace quarn::heap
