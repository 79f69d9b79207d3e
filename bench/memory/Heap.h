#pragma once

#include <stddef.h>

/// The heap as the program's `new` and `delete` use it, in bytes, with what malloc adds to each block. These replace
/// the operators, for the library's code as well.
namespace quarn::heap {

size_t InUse();
/// The most that was in use since the program started or ForgetMost() was called.
size_t Most();
void ForgetMost();

}  // namespace quarn::heap
