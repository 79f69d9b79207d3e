#pragma once

// The rule for whole numbers, for parsers that have failures of their own.

#include <stdint.h>

#include <string>

namespace quarn {

/// Whether the whole text, up to its first NUL, is an unsigned 64-bit number.
bool ConvertUnsigned(const std::string& text, uint64_t* value);

}  // namespace quarn
