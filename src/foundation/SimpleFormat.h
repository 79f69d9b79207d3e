#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <string_view>

namespace quarn {

/// How wide a field is at least, and with what it is filled from the left.
struct SimpleField {
    uint32_t width = 0;
    bool zeroPadded = false;
};

/// The formatter behind SimplePrint and SimpleLog, whose headers say what it supports. It uses nothing of the
/// C library. Characters go to the sink, a callable that takes one and returns false when it has no room;
/// nothing more is formatted then, and every function returns false.
template <class Sink>
class SimpleFormatter {
public:
    explicit SimpleFormatter(Sink sink) : sink_(sink) {}

    bool Format(const char* format, va_list arguments) {
        Arguments list(arguments);
        while (const char c = *format) {
            if (!(c == '%' ? PutConversion(format, list) : sink_(c)))
                return false;
            ++format;
        }
        return true;
    }

    bool PutSigned(int64_t value, bool hexadecimal, SimpleField field) {
        const uint64_t bits = static_cast<uint64_t>(value);
        return value < 0 ? PutNumber("-", 0 - bits, hexadecimal ? kUpper : kDecimal, field)
                         : PutNumber("", bits, hexadecimal ? kUpper : kDecimal, field);
    }

    bool PutUnsigned(uint64_t value, bool hexadecimal, SimpleField field) {
        return PutNumber("", value, hexadecimal ? kUpper : kDecimal, field);
    }

private:
    static constexpr std::string_view kDecimal = "0123456789";
    static constexpr std::string_view kUpper = "0123456789ABCDEF";
    static constexpr std::string_view kLower = "0123456789abcdef";
    static constexpr uint32_t kWidest = 1000000;

    enum class Length { INT, CHAR, SHORT, LONG, LONG_LONG, SIZE };

    // A copy that functions can share; how a bare va_list is passed differs between processors.
    struct Arguments {
        explicit Arguments(va_list arguments) { va_copy(list, arguments); }
        ~Arguments() { va_end(list); }
        Arguments(const Arguments&) = delete;
        Arguments& operator=(const Arguments&) = delete;
        va_list list;
    };

    // Formats the conversion whose "%" is at `format` and leaves `format` at its last character.
    bool PutConversion(const char*& format, Arguments& arguments) {
        const char* const start = format++;
        const SimpleField field = TakeField(format);
        const Length length = TakeLength(format);
        switch (*format) {
            case 'd':
            case 'i':
                return PutSigned(TakeSigned(length, arguments), false, field);
            case 'u':
                return PutNumber("", TakeUnsigned(length, arguments), kDecimal, field);
            case 'x':
                return PutNumber("", TakeUnsigned(length, arguments), kLower, field);
            case 'X':
                return PutNumber("", TakeUnsigned(length, arguments), kUpper, field);
        }
        return length == Length::INT ? PutPlainConversion(start, *format, field, arguments) : PutRest(start);
    }

    // The conversions that take no length modifier.
    bool PutPlainConversion(const char* start, char conversion, SimpleField field, Arguments& arguments) {
        switch (conversion) {
            case '%':
                return sink_('%');
            case 'c': {
                const char c = static_cast<char>(va_arg(arguments.list, int));
                return PutText({&c, 1}, field);
            }
            case 's': {
                const char* const text = va_arg(arguments.list, const char*);
                return PutText(text ? text : "(null)", field);
            }
            case 'p': {
                const void* const pointer = va_arg(arguments.list, const void*);
                return pointer ? PutNumber("0x", reinterpret_cast<uintptr_t>(pointer), kLower, field)
                               : PutText("(nil)", field);
            }
        }
        return PutRest(start);
    }

    // The size of an unknown conversion's argument is not known either, so nothing after it can be converted.
    bool PutRest(const char* text) {
        PutText(text, {});
        return false;
    }

    static SimpleField TakeField(const char*& format) {
        SimpleField field;
        field.zeroPadded = *format == '0';
        for (; *format >= '0' && *format <= '9'; ++format)
            if (field.width < kWidest)
                field.width = field.width * 10 + static_cast<uint32_t>(*format - '0');
        return field;
    }

    static Length TakeLength(const char*& format) {
        const auto doubled = [&format](Length once, Length twice) {
            const bool again = format[1] == format[0];
            format += again ? 2 : 1;
            return again ? twice : once;
        };
        switch (*format) {
            case 'h':
                return doubled(Length::SHORT, Length::CHAR);
            case 'l':
                return doubled(Length::LONG, Length::LONG_LONG);
            case 'z':
                ++format;
                return Length::SIZE;
        }
        return Length::INT;
    }

    static int64_t TakeSigned(Length length, Arguments& arguments) {
        switch (length) {
            case Length::CHAR:
                return static_cast<signed char>(va_arg(arguments.list, int));
            case Length::SHORT:
                return static_cast<short>(va_arg(arguments.list, int));
            case Length::INT:
                return va_arg(arguments.list, int);
            case Length::LONG:
            case Length::LONG_LONG:
            case Length::SIZE:
                break;
        }
        return va_arg(arguments.list, long);  // the others are as wide
    }

    static uint64_t TakeUnsigned(Length length, Arguments& arguments) {
        const uint64_t value = static_cast<uint64_t>(TakeSigned(length, arguments));
        switch (length) {
            case Length::CHAR:
                return static_cast<unsigned char>(value);
            case Length::SHORT:
                return static_cast<unsigned short>(value);
            case Length::INT:
                return static_cast<unsigned int>(value);
            case Length::LONG:
            case Length::LONG_LONG:
            case Length::SIZE:
                break;
        }
        return value;
    }

    bool Fill(char c, size_t used, uint32_t width) {
        for (; used < width; ++used)
            if (!sink_(c))
                return false;
        return true;
    }

    bool PutText(std::string_view text, SimpleField field) {
        if (!Fill(' ', text.size(), field.width))
            return false;
        for (const char c : text)
            if (!sink_(c))
                return false;
        return true;
    }

    // The prefix counts for the width and stands before padding zeros.
    bool PutNumber(std::string_view prefix, uint64_t magnitude, std::string_view digits, SimpleField field) {
        char text[20];
        char* const end = text + sizeof(text);
        char* first = end;
        do
            *--first = digits[magnitude % digits.size()];
        while ((magnitude /= digits.size()) != 0);
        const std::string_view number(first, static_cast<size_t>(end - first));
        const size_t used = prefix.size() + number.size();
        return (field.zeroPadded || Fill(' ', used, field.width)) && PutText(prefix, {}) &&
               Fill('0', field.zeroPadded ? used : SIZE_MAX, field.width) && PutText(number, {});
    }

    Sink sink_;
};

}  // namespace quarn
