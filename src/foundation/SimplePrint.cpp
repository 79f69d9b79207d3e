#include <quarn/SimplePrint.h>

#include "foundation/SimpleFormat.h"

namespace quarn {

size_t SimplePrint::Print(char* buffer, size_t size, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const size_t length = Printv(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

size_t SimplePrint::Printv(char* buffer, size_t size, const char* format, va_list arguments) {
    if (size == 0)
        return 0;
    size_t length = 0;
    const auto put = [&](char c) {
        if (length == size - 1)
            return false;
        buffer[length++] = c;
        return true;
    };
    SimpleFormatter formatter(put);
    formatter.Format(format, arguments);
    buffer[length] = '\0';
    return length;
}

}  // namespace quarn
