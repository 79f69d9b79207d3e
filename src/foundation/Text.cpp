#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include <ctype.h>
#include <time.h>

#include <algorithm>
#include <iterator>

namespace quarn {

namespace {

bool IsSpace(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

// Where the first run of consecutive numbers ends (one behind it): rising or falling by one, as the first
// step says. In 64 bits, so that nothing wraps from 4294967295 to 0.
size_t RunEnd(const std::vector<uint32_t>& values, size_t start) {
    size_t end = start + 1;
    if (end == values.size())
        return end;
    const int64_t step = values[end] < values[start] ? -1 : 1;
    while (end < values.size() && int64_t{values[end]} == values[end - 1] + step)
        ++end;
    return end;
}

}  // namespace

std::string Format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = FormatV(format, arguments);
    va_end(arguments);
    return text;
}

std::string FormatV(const char* format, va_list arguments) {
    // Nearly every text fits the buffer; only a longer one is formatted again, into its own space.
    char buffer[512];
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(buffer, sizeof(buffer), format, arguments);
    std::string text;
    int written = length;
    if (length >= 0 && static_cast<size_t>(length) < sizeof(buffer)) {
        text.assign(buffer, static_cast<size_t>(length));
    } else if (length >= 0) {
        text.resize(static_cast<size_t>(length));
        written = vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    if (written < 0)
        throw std::string("vasprintf failed (probably out of memory)");
    return text;
}

std::string FormatString(const std::string& text) {
    return text;
}

std::string FormatU32(uint32_t value) {
    return std::to_string(value);
}

std::string FormatI32(int32_t value) {
    return std::to_string(value);
}

std::string FormatTime(const std::string& format, int64_t time) {
    const time_t seconds = time;
    tm utc;
    if (!gmtime_r(&seconds, &utc))
        return {};
    char buffer[50];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the caller's format; it takes no arguments
    return std::string(buffer, strftime(buffer, sizeof(buffer), format.c_str(), &utc));
#pragma GCC diagnostic pop
}

std::string FormatU32RangeList(const std::vector<uint32_t>& values, char rangeChar) {
    if (std::adjacent_find(values.begin(), values.end()) != values.end())
        throw MonitorException("Range list contains duplicate entry");
    std::string text;
    for (size_t start = 0; start < values.size();) {
        const size_t end = RunEnd(values, start);
        if (start != 0)
            text += ',';
        text += FormatU32(values[start]);
        if (end - start > 1) {
            text += end - start == 2 ? ',' : rangeChar;
            text += FormatU32(values[end - 1]);
        }
        start = end;
    }
    return text;
}

std::string Prettify(const std::string& text) {
    std::string pretty;
    pretty.reserve(text.size());
    for (const char c : text) {
        const auto code = static_cast<uint8_t>(c);
        if (isprint(code)) {
            pretty += c;
        } else if (code >= 7 && code <= 13) {
            pretty += '\\';
            pretty += "abtnvfr"[code - 7];
        } else if (code > 26) {
            pretty += "\\x";
            pretty += FormatHexBytesUnprefixed(&code, 1);
        } else {
            pretty += '^';
            pretty += static_cast<char>(code + 64);
        }
    }
    return pretty;
}

std::string Chars(char c, size_t count) {
    return std::string(count, c);
}

std::string Spaces(size_t count) {
    return Chars(' ', count);
}

std::string Spaces(const std::string& text) {
    return Spaces(text.size());
}

std::string ToUpper(const std::string& text) {
    std::string upper = text;
    for (char& c : upper)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

std::string Trim(const std::string& text) {
    const auto begin = std::find_if_not(text.begin(), text.end(), IsSpace);
    const auto end = std::find_if_not(text.rbegin(), std::make_reverse_iterator(begin), IsSpace).base();
    return std::string(begin, end);
}

std::string TrimLeft(const std::string& text) {
    return std::string(std::find_if_not(text.begin(), text.end(), IsSpace), text.end());
}

std::string TrimRight(const std::string& text) {
    return std::string(text.begin(), std::find_if_not(text.rbegin(), text.rend(), IsSpace).base());
}

std::string Truncate(const std::string& text, size_t length) {
    return text.size() <= length ? text : text.substr(0, length) + "[...]";
}

std::string Concatenate(const std::string& first, const std::string& second, const std::string& separator) {
    return first.empty() ? second : first + separator + second;
}

std::string CanonicalDecimal(const std::string& text) {
    size_t end = text.size();
    const size_t point = text.find('.');
    while (point < end && end >= 2 && (text[end - 1] == '0' || text[end - 1] == '.'))
        --end;
    // The zero before the point goes too; that is deliberate.
    size_t begin = 0;
    while (end - begin >= 2 && text[begin] == '0')
        ++begin;
    return text.substr(begin, end - begin);
}

std::string FixNetworkName(const std::string& name) {
    std::string fixed;
    bool spaceBefore = false;
    for (const char c : name) {
        if (IsSpace(c)) {
            spaceBefore = !fixed.empty();
        } else if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
                   c == '_') {
            if (spaceBefore)
                fixed += ' ';
            spaceBefore = false;
            fixed += c;
        }
    }
    return fixed;
}

void Append(std::string& text, const std::string& addition, const std::string& separator) {
    text += text.empty() || addition.empty() ? addition : separator + addition;
}

void StringReplace(std::string& text, const std::string& from, const std::string& to) {
    if (from.empty())
        return;
    std::string replaced;
    size_t start = 0;
    for (size_t found; (found = text.find(from, start)) != std::string::npos; start = found + from.size())
        replaced.append(text, start, found - start).append(to);
    if (start != 0)
        text = replaced.append(text, start);
}

void ReplaceWhiteSpace(std::string& text, char c) {
    std::replace_if(text.begin(), text.end(), IsSpace, c);
}

std::list<std::string> FormatColumnarList(const std::list<std::list<std::string>>& rows) {
    std::vector<size_t> widths;
    for (const auto& row : rows) {
        size_t column = 0;
        for (const std::string& cell : row) {
            if (column == widths.size())
                widths.push_back(0);
            widths[column] = std::max(widths[column], cell.size());
            ++column;
        }
    }
    std::list<std::string> lines;
    for (const auto& row : rows) {
        std::string& line = lines.emplace_back();
        size_t column = 0;
        for (const std::string& cell : row)
            line.append(cell).append(widths[column++] + 2 - cell.size(), ' ');
    }
    return lines;
}

void WriteLines(FILE* stream, const std::list<std::string>& lines) {
    for (const std::string& line : lines) {
        fwrite(line.data(), 1, line.size(), stream);
        fputc('\n', stream);
    }
}

}  // namespace quarn
