#pragma once

#include <quarn/Attributes.h>

#include <stdarg.h>
#include <stddef.h>

#include <memory>
#include <string_view>

namespace quarn {

/// One line of debug output while it is put together: on the stack as long as it is short, so that an
/// ordinary message allocates nothing. The adding functions return false, and leave the line as it was, when
/// they cannot do their work.
class DebugLine {
public:
    DebugLine() : text_(short_), capacity_(sizeof(short_)), length_(0) {}
    DebugLine(const DebugLine&) = delete;
    DebugLine& operator=(const DebugLine&) = delete;

    bool Add(std::string_view text) {
        if (!Reserve(text.size()))
            return false;
        length_ += text.copy(text_ + length_, text.size());
        return true;
    }
    /// Adds what printf would; a NUL character that it produces ends the text.
    bool AddFormatted(const char* format, va_list arguments) QUARN_VPRINTF(2);
    void RemoveLast() { --length_; }

    size_t Length() const { return length_; }
    /// The line with a newline at its end, one that it had already or else an additional one. Good as long as
    /// nothing else is called.
    std::string_view WithNewline() {
        const bool complete = length_ != 0 && text_[length_ - 1] == '\n';
        text_[length_] = '\n';
        return {text_, complete ? length_ : length_ + 1};
    }

private:
    // Room for so many characters and one that ends the line.
    bool Reserve(size_t more) { return more < capacity_ - length_ || Grow(more); }
    bool Grow(size_t more);
    bool AddPrinted(const char* format, va_list arguments) QUARN_VPRINTF(2);

    char short_[1024];
    std::unique_ptr<char[]> long_;
    char* text_;
    size_t capacity_;  // more than length_
    size_t length_;
};

}  // namespace quarn
