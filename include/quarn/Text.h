#pragma once

/// Text for consoles, statistics and debug output: printf-style formatting, hexadecimal renderings, compact
/// lists, escaping, trimming and columnar tables. Stateless and reentrant.
///
///     std::list<std::string> lines = quarn::FormatColumnarList({{"Name", "Value"}, {"gain", "12"}});
///     quarn::WriteLines(stdout, lines);
///     try {
///         puts(quarn::FormatU32RangeList({1, 2, 3, 7}, '-').c_str());  // 1-3,7
///     } catch (const quarn::MonitorException& e) {  // neighbours that are equal
///         puts(e.Description().c_str());
///     }
///
/// Functions fail only for want of memory unless they say otherwise.

#include <quarn/Attributes.h>

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <list>
#include <string>
#include <vector>

namespace quarn {

/// The arguments formatted as printf does, of any length. Throws a std::string (not a MonitorException)
/// holding "vasprintf failed (probably out of memory)" when the C library cannot format them.
QUARN_API std::string Format(const char* format, ...) QUARN_PRINTF(1, 2);
/// Format() for a va_list, which the call uses up.
QUARN_API std::string FormatV(const char* format, va_list arguments) QUARN_VPRINTF(1);

/// A copy of the text.
QUARN_API std::string FormatString(const std::string& text);
QUARN_API std::string FormatU32(uint32_t value);
QUARN_API std::string FormatI32(int32_t value);
/// "0x" and the value in upper-case hexadecimal, zero-padded to the digits that `bits` bits need (0 for no
/// padding); a value that needs more digits gets them.
QUARN_API std::string FormatHexU32(uint32_t value, uint32_t bits);
/// "#RRGGBB" of bits 23-16, 15-8 and 7-0.
QUARN_API std::string FormatHTMLColor(uint32_t rgb);

/// One "1" or "0" a bit, most significant first, always the full width of the type.
QUARN_API std::string FormatBits(uint64_t value);
QUARN_API std::string FormatBits(uint32_t value);
QUARN_API std::string FormatBits(uint16_t value);
QUARN_API std::string FormatBits(uint8_t value);

/// The seconds since the epoch as strftime formats their UTC broken-down time; empty when the conversion
/// fails or the result does not fit 49 characters. Never throws a MonitorException.
QUARN_API std::string FormatTime(const std::string& format, int64_t time);

/// Each byte as "0x%02X", separated by single spaces; empty for no bytes.
QUARN_API std::string FormatHexBytes(const uint8_t* data, size_t count);
QUARN_API std::string FormatHexByteVector(const std::vector<uint8_t>& data);
QUARN_API std::string FormatHexCharVector(const std::vector<char>& data);
/// Each byte as "%02X", with nothing between.
QUARN_API std::string FormatHexBytesUnprefixed(const uint8_t* data, size_t count);
/// Each byte as "%02X", with the separator between.
QUARN_API std::string FormatHexBytesUnprefixedSeparated(const uint8_t* data, size_t count,
                                                        const std::string& separator);
QUARN_API std::string FormatHexByteVectorUnprefixedSeparated(const std::vector<uint8_t>& data,
                                                             const std::string& separator);
/// Each word as "0x%08X", separated by single spaces.
QUARN_API std::string FormatHexQuads(const uint32_t* words, size_t count);
QUARN_API std::string FormatHexQuadVector(const std::vector<uint32_t>& words);
/// A dump of `width` bytes a line (0 counts as 16): the bytes as two-digit hexadecimal numbers separated by
/// spaces, blanks in place of those that the last line lacks, " | ", and the characters with "." for what
/// cannot be printed. Lines are separated by newlines; the last has none.
QUARN_API std::string FormatHexByteVectorHexdumpC(const std::vector<uint8_t>& data, size_t width);

/// The shortest text of a list of numbers in the order given: ascending and descending runs of three or more
/// as first, rangeChar, last; runs joined by ",". Throws MonitorException "Range list contains duplicate
/// entry" when two neighbours are equal. The inverse of ParseU32RangeList for ascending lists.
QUARN_API std::string FormatU32RangeList(const std::vector<uint32_t>& values, char rangeChar);

/// The bytes of the text made printable: C escapes for 7 to 13, "^@" to "^Z" for the other codes up to 26,
/// "\xNN" for what else cannot be printed.
QUARN_API std::string Prettify(const std::string& text);

QUARN_API std::string Chars(char c, size_t count);
QUARN_API std::string Spaces(size_t count);
/// As many spaces as the text has bytes, to align a continuation line.
QUARN_API std::string Spaces(const std::string& text);
/// Changes a-z only.
QUARN_API std::string ToUpper(const std::string& text);
/// Without white space (as isspace sees it) at both ends, the left or the right one.
QUARN_API std::string Trim(const std::string& text);
QUARN_API std::string TrimLeft(const std::string& text);
QUARN_API std::string TrimRight(const std::string& text);
/// The text, or its first `length` characters and "[...]" when it has more.
QUARN_API std::string Truncate(const std::string& text, size_t length);
/// first + separator + second, or second alone when first is empty.
QUARN_API std::string Concatenate(const std::string& first, const std::string& second,
                                  const std::string& separator);
/// A decimal number without trailing zeros behind its point and without leading zeros; "0.5" becomes ".5".
QUARN_API std::string CanonicalDecimal(const std::string& text);
/// A name for use on a network: keeps letters, digits, "-" and "_", turns each run of white space between
/// them into one space, and drops everything else, white space at both ends included.
QUARN_API std::string FixNetworkName(const std::string& name);

/// Appends the addition, behind the separator when both texts are non-empty.
QUARN_API void Append(std::string& text, const std::string& addition, const std::string& separator);
/// Replaces every occurrence from left to right; what was put in is not searched again. An empty `from`
/// changes nothing.
QUARN_API void StringReplace(std::string& text, const std::string& from, const std::string& to);
/// Replaces every white-space character.
QUARN_API void ReplaceWhiteSpace(std::string& text, char c);

/// Lays rows of cells out in columns, one line a row, each cell padded to its column's width and two spaces
/// (the last one too). Rows may differ in length.
QUARN_API std::list<std::string> FormatColumnarList(const std::list<std::list<std::string>>& rows);
/// Writes each line and a newline.
QUARN_API void WriteLines(FILE* stream, const std::list<std::string>& lines);

}  // namespace quarn
