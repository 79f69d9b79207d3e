#include <quarn/Logger.h>
#include <quarn/Text.h>

#include <algorithm>
#include <string_view>

namespace quarn {

namespace {

constexpr std::string_view kSnapshotPrefix = "snapshot-";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string PathOf(const LoggerOptions& options, const std::string& name) {
    std::string path = options.directory.empty() ? "." : options.directory;
    if (!path.ends_with('/'))
        path += '/';
    return path + name;
}

std::string FormatIndex(const LoggerOptions& options, uint32_t index) {
    return Format("%0*u", static_cast<int>(options.indexDigits), index);
}

// Takes the digits of an index off the front and returns their value, 0 when there are not as many.
uint32_t TakeIndex(const LoggerOptions& options, std::string_view& name) {
    const std::string_view digits = name.substr(0, options.indexDigits);
    name.remove_prefix(digits.size());
    if (digits.size() < options.indexDigits || !std::ranges::all_of(digits, IsDigit))
        return 0;
    uint32_t index = 0;
    for (const char digit : digits)
        index = index * 10 + static_cast<uint32_t>(digit - '0');
    return index;
}

}  // namespace

LogFileInfo::LogFileInfo(const LoggerOptions& options, uint32_t index, bool start)
    : name_(FormatIndex(options, index) + (start ? options.startMarker : "") + options.suffix),
      path_(PathOf(options, name_)),
      index_(index),
      start_(start) {}

LogFileInfo::LogFileInfo(const LoggerOptions& options, const std::string& name)
    : name_(name), path_(PathOf(options, name)), index_(0), start_(false) {
    std::string_view ending = name;
    const uint32_t index = TakeIndex(options, ending);
    if (ending == options.suffix) {
        index_ = index;
    } else if (ending == options.startMarker + options.suffix) {
        index_ = index;
        start_ = index != 0;
    }
}

SnapshotInfo::SnapshotInfo(const LoggerOptions& options, uint32_t index)
    : name_(std::string(kSnapshotPrefix) + FormatIndex(options, index)),
      path_(PathOf(options, name_)),
      index_(index) {}

SnapshotInfo::SnapshotInfo(const LoggerOptions& options, const std::string& name)
    : name_(name), path_(PathOf(options, name)), index_(0) {
    std::string_view rest = name;
    if (!rest.starts_with(kSnapshotPrefix))
        return;
    rest.remove_prefix(kSnapshotPrefix.size());
    const uint32_t index = TakeIndex(options, rest);
    if (rest.empty())
        index_ = index;
}

}  // namespace quarn
