#include <quarn/Debug.h>
#include <quarn/LocalTime.h>
#include <quarn/Logger.h>
#include <quarn/Text.h>

#include "foundation/DebugLine.h"

#include <errno.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <mutex>
#include <string_view>

namespace quarn {

namespace {

constexpr char kTestModeFile[] = "/tmp/test/legacy";
constexpr size_t kThreadNameSize = 16;  // of the kernel, with the NUL

// Inlined by force, like the other steps around a system call: after one, each return costs as much as a
// cache miss.
[[gnu::always_inline]] inline std::string_view ThreadName(char (&buffer)[kThreadNameSize]) {
    return prctl(PR_GET_NAME, buffer) == 0 ? buffer : std::string_view();
}

std::string_view BaseName(const char* file) {
    const char* const slash = strrchr(file, '/');
    return slash ? slash + 1 : file;
}

// The latest time prefix of a thread, which serves for all its messages of one second.
struct TimePrefix {
    time_t utc;
    bool zoned;
    int32_t offset;
    uint8_t length;
    char text[50];
};
thread_local constinit TimePrefix latest{};

// A clock that has not been set says nothing, so that the time since the start of the system takes its place.
std::string_view UptimePrefix() {
    latest.utc = 0;
    struct sysinfo system;
    if (sysinfo(&system) != 0)
        return {};
    const uint64_t uptime = static_cast<uint64_t>(system.uptime);
    const int length = snprintf(latest.text, sizeof(latest.text), "+%lu:%02lu:%02lu ", uptime / 3600,
                                uptime % 3600 / 60, uptime % 60);
    return {latest.text, static_cast<size_t>(length)};
}

}  // namespace

class Debug::Impl {
public:
    Impl(const DebugOptions& options, Logger* attachedLogger)
        : consoleMask(options.consoleMask),
          logMask(options.logMask),
          showSourceLocation(options.showSourceLocation),
          logger(attachedLogger) {}

    bool IsRelevant(uint32_t mask) const { return (mask & (consoleMask | logMask)) != 0; }
    void Print(uint32_t mask, const char* file, int line, const char* format, va_list arguments)
        QUARN_VPRINTF(5);
    void PrintText(uint32_t mask, const char* file, int line, const char* text);

    const uint32_t consoleMask;
    const uint32_t logMask;
    const bool showSourceLocation;
    Logger* const logger;
    std::mutex mutex;  // serialises formatted output
    std::atomic<bool> legacyTestMode{false};

    static std::atomic<int32_t> gmt_offset;  // minutes; means nothing until time_zone_valid is set
    static std::atomic<bool> time_zone_valid;

private:
    static std::string_view CurrentTimePrefix();
    bool AddPrefixes(DebugLine& output, const char* file, int line) const;
    void Emit(uint32_t mask, DebugLine& output, size_t textStart) const;
};

std::atomic<int32_t> Debug::Impl::gmt_offset{0};
std::atomic<bool> Debug::Impl::time_zone_valid{false};

std::string_view Debug::Impl::CurrentTimePrefix() {
    const time_t utc = time(nullptr);
    if (!IsUTCTimeValid(utc))
        return UptimePrefix();
    const bool zoned = time_zone_valid.load(std::memory_order_acquire);
    const int32_t offset = zoned ? gmt_offset.load(std::memory_order_relaxed) : 0;
    if (utc != latest.utc || zoned != latest.zoned || offset != latest.offset) {
        const std::string text = zoned ? FormatTime("%Y/%m/%d %H:%M:%S ", UTCToLocalTime(utc, offset))
                                       : FormatTime("%Y/%m/%d %H:%M:%SZ ", utc);
        latest = {utc, zoned, offset, static_cast<uint8_t>(text.size()), {}};
        memcpy(latest.text, text.data(), text.size());
    }
    return {latest.text, latest.length};
}

// The location ends in a blank, which an empty text does without.
[[gnu::always_inline]] inline bool Debug::Impl::AddPrefixes(DebugLine& output, const char* file,
                                                            int line) const {
    if (!output.Add(CurrentTimePrefix()))
        return false;
    char nameBuffer[kThreadNameSize];
    const std::string_view name = ThreadName(nameBuffer);
    if (!name.empty() && !(output.Add("[") && output.Add(name) && output.Add("] ")))
        return false;
    if (!showSourceLocation)
        return true;
    char number[12];
    const char* const end = std::to_chars(number, number + sizeof(number), line).ptr;
    return output.Add(BaseName(file)) && output.Add(":") &&
           output.Add({number, static_cast<size_t>(end - number)}) && output.Add(" ");
}

[[gnu::always_inline]] inline void Debug::Impl::Emit(uint32_t mask, DebugLine& output,
                                                     size_t textStart) const {
    const bool empty = output.Length() == textStart;
    if (empty && showSourceLocation)
        output.RemoveLast();
    // In one piece, so that lines of other threads cannot come in between.
    const std::string_view line = output.WithNewline();
    if (mask == 0 || (mask & consoleMask) != 0)
        fwrite(line.data(), 1, line.size(), stdout);
    if (logger && (mask == 0 || (mask & logMask) != 0))
        logger->Write(line.data(), line.size());
}

void Debug::Impl::Print(uint32_t mask, const char* file, int line, const char* format, va_list arguments) {
    const std::lock_guard lock(mutex);
    DebugLine output;
    if (!AddPrefixes(output, file, line))
        return;
    const size_t textStart = output.Length();
    if (output.AddFormatted(format, arguments))
        Emit(mask, output, textStart);
}

void Debug::Impl::PrintText(uint32_t mask, const char* file, int line, const char* text) {
    DebugLine output;
    if (!AddPrefixes(output, file, line))
        return;
    const size_t textStart = output.Length();
    if (output.Add(text))
        Emit(mask, output, textStart);
}

std::atomic<Debug*> Debug::default_{nullptr};

Debug::Debug(const DebugOptions& options, Logger* logger) : impl_(std::make_unique<Impl>(options, logger)) {
    UpdateTestMode();
}

Debug::~Debug() {
    Debug* self = this;
    default_.compare_exchange_strong(self, nullptr);
}

void Debug::SetAsDefault() {
    default_ = this;
}

bool Debug::IsRelevant(uint32_t mask) const {
    return impl_->IsRelevant(mask);
}

void Debug::Printf(uint32_t mask, const char* file, int line, const char* format, ...) {
    if (mask != 0 && !impl_->IsRelevant(mask))
        return;
    const int savedErrno = errno;
    va_list arguments;
    va_start(arguments, format);
    impl_->Print(mask, file, line, format, arguments);
    va_end(arguments);
    errno = savedErrno;
}

void Debug::PrintList(uint32_t mask, const char* file, int line, const std::list<std::string>& lines) {
    if (mask != 0 && !impl_->IsRelevant(mask))
        return;
    // Deliberately without the mutex: lines of a concurrent Printf() may come between those of the list.
    for (const std::string& text : lines)
        impl_->PrintText(mask, file, line, text.c_str());
}

std::string Debug::FormatMask(uint32_t mask) {
    return Format("0x%08X", mask);
}

void Debug::Usage(FILE* stream, const char* indent) {
    // RF and MULTI deliberately say the same.
    static constexpr struct {
        uint32_t mask;
        const char* text;
    } rows[] = {
        {DEBUG_ERR, "ERR (significant and unexpected events)"},
        {DEBUG_WARN, "WARN (significant but unexpected events)"},
        {DEBUG_INFO, "INFO (less significant but unexpected events)"},
        {DEBUG_TIMING, "TIMING (performance metrics)"},
        {DEBUG_SETTINGS, "DBG_SETTINGS (settings communication)"},
        {DEBUG_STATUS, "DBG_STATUS (status communication)"},
        {DEBUG_ACTION, "DBG_ACTION (action communication)"},
        {DEBUG_LORA, "DBG_LORA (LoRa core action)"},
        {DEBUG_RF, "DBG_RF (Receiver operations)"},
        {DEBUG_MULTI, "DBG_MULTI (Receiver operations)"},
        {DEBUG_MIRROR, "DBG_MIRROR (RF Mirror Mode)"},
        {DEBUG_DANTE, "DBG_DANTE"},
        {DEBUG_LOGIC_IO, "DBG_LOGIC_IO (Opto GPIO operations)"},
        {DEBUG_DESK, "DBG_DESK (DiGiCo Desk Integration)"},
    };
    fprintf(stream, "%sMask bits are as follows (not all bits may be used in a given application):\n",
            indent);
    for (const auto& row : rows)
        fprintf(stream, "%s0x%08X = %s\n", indent, row.mask, row.text);
}

void Debug::SetThreadName(const std::string& name) {
    prctl(PR_SET_NAME, name.c_str());
}

std::string Debug::GetThreadName() {
    char buffer[kThreadNameSize];
    return std::string(ThreadName(buffer));
}

void Debug::SetTimeZone(int32_t minutesEastOfUTC) {
    Impl::gmt_offset.store(minutesEastOfUTC, std::memory_order_relaxed);
    Impl::time_zone_valid.store(true, std::memory_order_release);
}

void Debug::Snapshot() {
    if (impl_->logger)
        impl_->logger->Snapshot();
}

bool Debug::IsLegacyTestModeEnabled() const {
    return impl_->legacyTestMode;
}

void Debug::UpdateTestMode() {
    impl_->legacyTestMode = access(kTestModeFile, F_OK) == 0;
}

}  // namespace quarn
