#pragma once

/// Compiler attributes that the public headers use.

/// Marks a function as printf-style, so that arguments that do not fit their format fail to compile.
/// Positions count from 1; for a member function the object itself is number 1.
#define QUARN_PRINTF(formatPosition, firstArgument) \
    __attribute__((format(printf, formatPosition, firstArgument)))

/// Marks a function that takes its arguments as a va_list.
#define QUARN_VPRINTF(formatPosition) __attribute__((format(printf, formatPosition, 0)))

/// Marks a class or function as part of the library's interface: it can be reached from outside the shared library, in
/// which all else is hidden.
#define QUARN_API __attribute__((visibility("default")))

namespace quarn {

// long carries int64_t in this library's interfaces and in its printf conversions.
static_assert(sizeof(long) == 8 && sizeof(void*) == 8 && sizeof(int) == 4, "libquarn needs an LP64 platform");

}  // namespace quarn
