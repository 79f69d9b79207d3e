#pragma once

/// Formatting into the caller's buffer without allocation, locks or the C library's printf, for
/// memory-allocation hooks and failure paths.
///
///     char text[80];
///     const size_t length = quarn::SimplePrint::Print(text, sizeof(text), "%zu bytes at %p", size, block);
///     write(STDERR_FILENO, text, length);  // what did not fit is cut off
///
/// Supported: "%%"; a decimal field width, with a "0" before it for zero padding; the modifiers "hh", "h",
/// "l", "ll" and "z"; the conversions "d", "i", "u", "x", "X", "c", "s" and "p". Where the C library knows
/// them they mean the same; "p" is "0x" and lower-case digits, and a null string is "(null)". From anything
/// else on the format stands for itself, since the size of its argument is not known.

#include <quarn/Attributes.h>

#include <stdarg.h>
#include <stddef.h>

namespace quarn {

class QUARN_API SimplePrint {
public:
    /// Writes at most size - 1 characters and a terminating NUL; nothing at all when the size is 0. Returns
    /// the number of characters written, without the NUL. Async-signal-safe.
    static size_t Print(char* buffer, size_t size, const char* format, ...) QUARN_PRINTF(3, 4);
    /// Print() for a va_list, which the call uses up.
    static size_t Printv(char* buffer, size_t size, const char* format, va_list arguments) QUARN_VPRINTF(3);
};

}  // namespace quarn
