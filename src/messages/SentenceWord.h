#pragma once

// How a word is framed in a sentence's payload: its sync byte, the length of its blob in 4 bytes, the blob.

#include <stddef.h>
#include <stdint.h>

namespace quarn {

constexpr uint8_t kWordSync = 0xB2;
constexpr size_t kWordHeader = 5;

}  // namespace quarn
