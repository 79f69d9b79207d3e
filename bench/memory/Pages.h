#pragma once

#include <stddef.h>

namespace quarn {

/// The process's own memory, in bytes: the writable part of its address space that belongs to no file, and how much of that
/// has been touched, so that it takes memory.
struct Pages {
    size_t reserved = 0;
    size_t touched = 0;

    static Pages Now();
};

}  // namespace quarn
