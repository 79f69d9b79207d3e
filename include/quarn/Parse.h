#pragma once

/// Text of users and configuration files into numbers, addresses, tokens, ranges and versions.
///
///     try {
///         uint16_t port = quarn::ParseU16(text, 0);
///         std::vector<uint32_t> channels = quarn::ParseU32RangeList("1-3,8", 64, 32, '-');
///         ...
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());  // Could not convert "80a" to uint16
///     }
///
/// Whole numbers are decimal (010 is ten), unless the text contains "0x" anywhere: then the C library finds
/// the base by the prefix. It also decides about leading white space and signs: an unsigned number with a
/// minus is the two's complement. The text counts up to its first NUL, and all of it must be used up.
///
/// Every failure is a MonitorException and leaves outputs untouched. All functions are reentrant.

#include <quarn/Attributes.h>
#include <quarn/IPAddress.h>

#include <stdint.h>

#include <string>
#include <tuple>
#include <vector>

namespace quarn {

/// As strtof reads it: "inf", "nan" and hexadecimal floats too; too large a number is infinite. Throws "Could
/// not convert empty string to float", "Could not convert \"%s\" to float".
QUARN_API float ParseFloat(const std::string& text);

/// The following throw "Could not convert empty string to %s" and "Could not convert \"%s\" to %s", the type
/// being int16, uint16, int32, uint32, int64 or uint64. Those with a maximum also throw "Value \"%s\" is not
/// in the range 0..%u" (or %lu); a maximum of 0 means none.

/// Out of range: "Could not convert \"%s\" to int16".
QUARN_API int16_t ParseI16(const std::string& text);
/// Above 65535: "Could not convert \"%s\" to uint16", whatever the maximum.
QUARN_API uint16_t ParseU16(const std::string& text, uint16_t max);
/// Deliberately not checked for its range: the low 32 bits of a 64-bit number (4294967297 is 1).
QUARN_API int32_t ParseI32(const std::string& text);
/// Without a maximum deliberately the low 32 bits of a 64-bit number.
QUARN_API uint32_t ParseU32(const std::string& text, uint32_t max);
/// From min to max, otherwise "Value \"%s\" is not in the range %u..%u".
QUARN_API uint32_t ParseU32(const std::string& text, uint32_t min, uint32_t max);
QUARN_API int64_t ParseI64(const std::string& text);
QUARN_API uint64_t ParseU64(const std::string& text, uint64_t max);

/// Throw "Could not convert empty string to uint64" (both of them), "Could not convert \"%s\" to intmax" or
/// "Could not convert \"%s\" to uintmax", and "Value \"%s\" is not in the range 0..%ju"; a maximum of 0 means
/// none.
QUARN_API intmax_t ParseIntMax(const std::string& text);
QUARN_API uintmax_t ParseUIntMax(const std::string& text, uint64_t max);

/// A memory or register address. One that is too large becomes the largest (or smallest) number instead of
/// failing. Throws "Could not convert empty string to address", "Could not convert \"%s\" to address".
QUARN_API int64_t ParseAddress(const std::string& text);

/// A byte of each text of the range, by ParseU32() with the maximum 255.
template <class Iterator>
std::vector<uint8_t> ParseByteVector(Iterator first, Iterator last) {
    std::vector<uint8_t> bytes;
    for (; first != last; ++first)
        bytes.push_back(static_cast<uint8_t>(ParseU32(*first, 255)));
    return bytes;
}

/// The address that a listener binds to: 127.0.0.1 for nothing but white space, 0.0.0.0 for a "*" (white
/// space around it allowed), otherwise that of the text, which must not have white space around it. Throws as
/// IPAddress does.
QUARN_API IPAddress ParseIPListenerAddress(const std::string& text);

/// The six bytes of a MAC address: two-digit hexadecimal groups with ":" or "-" between them, white space
/// around it all. A text of another length deliberately gives an empty vector, which callers test for; a bad
/// digit or separator throws "Could not convert \"%s\" to MAC address".
QUARN_API std::vector<uint8_t> ParseMACAddress(const std::string& text);

/// The words of a command line: separated by white space, or in double quotes, which may hold white space or
/// nothing and know no escape character. Throws "Double-quote within token", "Missing closing double-quote",
/// "Extraneous characters following closing double-quote".
QUARN_API std::vector<std::string> Tokenize(const std::string& text);

/// The fields between the delimiters, empty ones included: "a,,b," has four. An empty text has none. Nothing
/// is trimmed.
QUARN_API std::vector<std::string> TokenizeDelimited(const std::string& text, char delimiter);

/// What was added and removed between two token lists in any order, for a person to read, such as
/// `added "c"; removed "a", "b"`. Tokens are in alphabetical order, each as often as it was added or removed.
/// Empty when there is no change.
QUARN_API std::string DescribeUnorderedTokenChanges(const std::vector<std::string>& before,
                                                    const std::vector<std::string>& after);

/// A number, or two with the range character between. Return false for any other text and for numbers
/// that do not fit. In `first` and `last` the order of the text is kept: the first may be the larger.
QUARN_API bool ParseByteRange(const std::string& text, uint8_t* first, uint8_t* last, char rangeChar);
QUARN_API bool ParseU32Range(const std::string& text, uint32_t* first, uint32_t* last, char rangeChar);

/// The values of ranges that are separated by ",", in the order of the text, each range up or down as it is
/// written; an empty text has none. `maxValue` 0 means no limit; `maxCount` 0 means no values. Throws "Range
/// list is malformed", "Range list contains a value larger than %u", "Range list would expand to more than %u
/// values" (deliberately without the second space when that range runs down).
QUARN_API std::vector<uint32_t> ParseU32RangeList(const std::string& text, uint32_t maxValue,
                                                  uint32_t maxCount, char rangeChar);

/// Major number first.
using Version = std::tuple<uint32_t, uint32_t, uint32_t, uint32_t>;

/// Two to four numbers separated by "." (or by "u", as in "1.2u3" for update 3); missing ones are 0. Throws
/// "Firmware string is malformed" for another count, ParseU32()'s messages for a bad number.
QUARN_API Version ParseVersionString(const std::string& text);

/// Whether the version is the minimum or later.
QUARN_API bool DoesVersionMeetMinimum(const Version& version, const Version& minimum);
QUARN_API bool DoesVersionMeetMinimum(const std::string& version, const std::string& minimum);

/// '0' to '9', or a space for what is no digit.
QUARN_API char BCDToASCII(uint8_t digit);

}  // namespace quarn
