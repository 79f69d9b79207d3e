#include "foundation/DebugLine.h"

#include "foundation/SimpleFormat.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <new>

namespace quarn {

bool DebugLine::Grow(size_t more) {
    const size_t capacity = std::max(2 * capacity_, length_ + more + 1);
    std::unique_ptr<char[]> larger(new (std::nothrow) char[capacity]);
    if (!larger)
        return false;
    memcpy(larger.get(), text_, length_);
    long_ = std::move(larger);
    text_ = long_.get();
    capacity_ = capacity;
    return true;
}

// Most messages need nothing that the simple formatter lacks, and it takes half the time of the C library's.
// What it gives up on, for want of a conversion or of room, it has not changed.
bool DebugLine::AddFormatted(const char* format, va_list arguments) {
    size_t end = length_;
    SimpleFormatter formatter([this, &end](char c) {
        text_[end] = c;
        return ++end < capacity_;
    });
    if (formatter.Format(format, arguments)) {
        text_[end] = '\0';
        length_ += strlen(text_ + length_);
        return true;
    }
    return AddPrinted(format, arguments);
}

bool DebugLine::AddPrinted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const size_t room = capacity_ - length_;
    int needed = vsnprintf(text_ + length_, room, format, arguments);
    if (needed >= 0 && static_cast<size_t>(needed) >= room)
        needed = Reserve(static_cast<size_t>(needed))
                     ? vsnprintf(text_ + length_, static_cast<size_t>(needed) + 1, format, again)
                     : -1;
    va_end(again);
    if (needed < 0)
        return false;
    length_ += strlen(text_ + length_);
    return true;
}

}  // namespace quarn
