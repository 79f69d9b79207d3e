#include "values/ParseNumbers.h"

#include <quarn/MonitorException.h>
#include <quarn/Parse.h>

#include <errno.h>
#include <stdlib.h>
#include <string.h>

namespace quarn {
namespace {

// Prefixes count (a leading 0 as octal, too) only in a text that contains "0x".
int Base(const char* text) {
    return strstr(text, "0x") ? 0 : 10;
}

template <class Number>
bool Convert(const char* text, Number (*convert)(const char*, char**, int), Number* value) {
    char* end;
    errno = 0;
    *value = convert(text, &end, Base(text));
    return end != text && *end == '\0' && errno == 0;
}

[[noreturn]] void ThrowUnconverted(const std::string& text, const char* type) {
    throw MonitorException("Could not convert \"%s\" to %s", text.c_str(), type);
}

void RequireText(const std::string& text, const char* type) {
    if (*text.c_str() == '\0')
        throw MonitorException("Could not convert empty string to %s", type);
}

int64_t ParseSigned(const std::string& text, const char* type) {
    RequireText(text, type);
    int64_t value;
    if (!Convert(text.c_str(), strtol, &value))
        ThrowUnconverted(text, type);
    return value;
}

uint64_t ParseUnsigned(const std::string& text, const char* type) {
    RequireText(text, type);
    uint64_t value;
    if (!ConvertUnsigned(text, &value))
        ThrowUnconverted(text, type);
    return value;
}

}  // namespace

bool ConvertUnsigned(const std::string& text, uint64_t* value) {
    return Convert(text.c_str(), strtoul, value);
}

float ParseFloat(const std::string& text) {
    RequireText(text, "float");
    char* end;
    const float value = strtof(text.c_str(), &end);
    if (end == text.c_str() || *end != '\0')
        ThrowUnconverted(text, "float");
    return value;
}

int16_t ParseI16(const std::string& text) {
    const int64_t value = ParseSigned(text, "int16");
    if (value < INT16_MIN || value > INT16_MAX)
        ThrowUnconverted(text, "int16");
    return static_cast<int16_t>(value);
}

uint16_t ParseU16(const std::string& text, uint16_t max) {
    const uint64_t value = ParseUnsigned(text, "uint16");
    if (value > UINT16_MAX)
        ThrowUnconverted(text, "uint16");
    if (max != 0 && value > max)
        throw MonitorException("Value \"%s\" is not in the range 0..%u", text.c_str(), max);
    return static_cast<uint16_t>(value);
}

// Cut to 32 bits without a check, deliberately.
int32_t ParseI32(const std::string& text) {
    return static_cast<int32_t>(ParseSigned(text, "int32"));
}

uint32_t ParseU32(const std::string& text, uint32_t max) {
    const uint64_t value = ParseUnsigned(text, "uint32");
    if (max != 0 && value > max)
        throw MonitorException("Value \"%s\" is not in the range 0..%u", text.c_str(), max);
    // Without a maximum cut without a check, deliberately.
    return static_cast<uint32_t>(value);
}

uint32_t ParseU32(const std::string& text, uint32_t min, uint32_t max) {
    const uint64_t value = ParseUnsigned(text, "uint32");
    if (value < min || value > max)
        throw MonitorException("Value \"%s\" is not in the range %u..%u", text.c_str(), min, max);
    return static_cast<uint32_t>(value);
}

int64_t ParseI64(const std::string& text) {
    return ParseSigned(text, "int64");
}

uint64_t ParseU64(const std::string& text, uint64_t max) {
    const uint64_t value = ParseUnsigned(text, "uint64");
    if (max != 0 && value > max)
        throw MonitorException("Value \"%s\" is not in the range 0..%lu", text.c_str(), max);
    return value;
}

intmax_t ParseIntMax(const std::string& text) {
    // The message of the unsigned function, as it has always been.
    RequireText(text, "uint64");
    return ParseSigned(text, "intmax");
}

uintmax_t ParseUIntMax(const std::string& text, uint64_t max) {
    RequireText(text, "uint64");
    const uintmax_t value = ParseUnsigned(text, "uintmax");
    if (max != 0 && value > max)
        throw MonitorException("Value \"%s\" is not in the range 0..%ju", text.c_str(), uintmax_t{max});
    return value;
}

int64_t ParseAddress(const std::string& text) {
    RequireText(text, "address");
    char* end;
    // As scanf's %ld and %li do: a number that is too large is the largest one, not an error.
    const int64_t value = strtol(text.c_str(), &end, Base(text.c_str()));
    if (end == text.c_str() || *end != '\0')
        ThrowUnconverted(text, "address");
    return value;
}

}  // namespace quarn
