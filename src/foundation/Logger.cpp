#include <quarn/Debug.h>
#include <quarn/FileUtilities.h>
#include <quarn/Logger.h>
#include <quarn/MonitorException.h>

#include "foundation/Descriptor.h"
#include "foundation/DirectoryListing.h"
#include "foundation/ErrnoText.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

namespace quarn {

namespace {

constexpr uint32_t kMostIndexDigits = 6;
constexpr size_t kShortLine = 1024;

void Assert(bool condition, int line = __builtin_LINE()) {
    if (!condition)
        throw MonitorException("Assertion failed at %s:%d", __FILE__, line);
}

uint32_t LargestIndex(const LoggerOptions& options) {
    uint32_t power = 1;
    for (uint32_t digit = 0; digit < options.indexDigits; ++digit)
        power *= 10;
    return power - 1;
}

// The options with zero limits replaced.
LoggerOptions Checked(LoggerOptions options) {
    if (options.indexDigits < 1 || options.indexDigits > kMostIndexDigits)
        throw MonitorException("Logger must use between 1 and 6 index digits");
    const uint32_t largest = LargestIndex(options);
    if (options.maxLogFiles == 0)
        options.maxLogFiles = largest;
    if (options.maxLogFiles > largest)
        throw MonitorException("Requested limit of %u log files is too many for %u index digits (max is %u)",
                               options.maxLogFiles, options.indexDigits, largest);
    if (options.maxSnapshots == 0)
        options.maxSnapshots = largest;
    if (options.maxSnapshots > largest)
        throw MonitorException("Requested limit of %u snapshots is too many for %u index digits (max is %u)",
                               options.maxSnapshots, options.indexDigits, largest);
    if (options.directory.empty())
        options.directory = "./";
    return options;
}

// A name that is taken is not replaced, not even that of an empty directory. Returns false with the reason in
// errno.
bool Rename(const std::string& from, const std::string& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // The file system cannot look and rename in one step.
    struct stat status;
    if (lstat(to.c_str(), &status) == 0)
        errno = EEXIST;
    return errno == ENOENT && rename(from.c_str(), to.c_str()) == 0;
}

LogFileInfo Renumbered(const LoggerOptions& options, const LogFileInfo& file, uint32_t index) {
    return LogFileInfo(options, index, file.IsStart());
}

SnapshotInfo Renumbered(const LoggerOptions& options, const SnapshotInfo&, uint32_t index) {
    return SnapshotInfo(options, index);
}

// The index of a new entry behind the sorted ones, which are renamed to count from 1 when the numbers run out
// or have gaps. Returns 0, with the reason in errno, when one cannot be renamed.
template <class Info>
uint32_t NextIndex(const LoggerOptions& options, const std::vector<Info>& entries) {
    if (entries.empty())
        return 1;
    const uint32_t first = entries.front().GetIndex();
    const uint32_t last = entries.back().GetIndex();
    const uint32_t count = static_cast<uint32_t>(entries.size());
    const bool gapless = first == last || count + first - 1 == last;
    if (gapless && last != LargestIndex(options))
        return last + 1;
    const auto rename = [&](uint32_t i) {
        return Rename(entries[i].GetPath(), Renumbered(options, entries[i], i + 1).GetPath());
    };
    // In an order in which no entry needs a name that another one has yet to give up: those that move down
    // from the front, then those that move up, as happens when two loggers have used a number twice, from the
    // back.
    for (uint32_t i = 0; i < count; ++i)
        if (entries[i].GetIndex() > i + 1 && !rename(i))
            return 0;
    for (uint32_t i = count; i-- > 0;)
        if (entries[i].GetIndex() < i + 1 && !rename(i))
            return 0;
    return count + 1;
}

struct Listing {
    std::vector<LogFileInfo> files;       // sorted
    std::vector<SnapshotInfo> snapshots;  // sorted
};

// Returns false when the directory cannot be listed.
bool List(const LoggerOptions& options, Listing& listing) {
    const Descriptor directory(open(options.directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::vector<std::string> names;
    if (directory.Get() < 0 || !ListDirectory(directory.Get(), names))
        return false;
    const auto isA = [&directory](mode_t type, const std::string& name) {
        struct stat status;
        return fstatat(directory.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
               (status.st_mode & S_IFMT) == type;
    };
    // By name is by index too, for all have the same number of digits.
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        const LogFileInfo file(options, name);
        if (file.GetIndex() != 0 && isA(S_IFREG, name))
            listing.files.push_back(file);
        const SnapshotInfo snapshot(options, name);
        if (snapshot.GetIndex() != 0 && isA(S_IFDIR, name))
            listing.snapshots.push_back(snapshot);
    }
    return true;
}

}  // namespace

class Logger::Impl {
public:
    explicit Impl(const LoggerOptions& options) : options_(Checked(options)), good_(true) {
        Next(true);
        good_ = file_.Get() >= 0;
    }

    void Write(const char* text, size_t length);
    void Snapshot();
    bool IsGood() const { return good_; }

private:
    void Next(bool start);
    void WriteLine(const char* text, size_t length);
    bool WriteBytes(const char* data, size_t length);
    std::vector<std::string> TakeSnapshot();

    const LoggerOptions options_;
    std::mutex mutex_;  // guards the directory and what follows, although callers need not be serialised
    Descriptor file_;
    uint32_t lines_ = 0;
    bool midLine_ = false;  // the file ends in a line that was cut off
    std::atomic<bool> good_;
};

// Makes room for a file behind those there are and opens it. When that fails, no file is open.
void Logger::Impl::Next(bool start) {
    Listing listing;
    if (!List(options_, listing))
        return;
    std::vector<LogFileInfo>& files = listing.files;
    Assert(options_.maxLogFiles != 0);
    while (files.size() >= options_.maxLogFiles) {
        if (unlink(files.front().GetPath().c_str()) != 0)
            return;
        files.erase(files.begin());
    }
    const uint32_t index = NextIndex(options_, files);
    if (index == 0)
        return;
    // Whatever has the name already is no log file of ours, or it would have been listed: a link is not
    // followed.
    const std::string path = LogFileInfo(options_, index, start).GetPath();
    file_ = Descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666));
    midLine_ = false;
}

// Returns false when the system takes no more, be it after a part of the bytes. Inlined by force, like what
// calls it: after a system call each return costs as much as a cache miss.
[[gnu::always_inline]] inline bool Logger::Impl::WriteBytes(const char* data, size_t length) {
    while (length > 0) {
        const ssize_t written = write(file_.Get(), data, length);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        midLine_ = data[written - 1] != '\n';
        data += written;
        length -= static_cast<size_t>(written);
    }
    return true;
}

// One system call for all but very long lines: copying is cheaper than a second call or having the system
// gather the pieces. There is nobody to tell that a line could not be written.
[[gnu::always_inline]] inline void Logger::Impl::WriteLine(const char* text, size_t length) {
    if (midLine_ && !WriteBytes("\n", 1))
        return;
    if (length != 0 && text[length - 1] == '\n') {
        WriteBytes(text, length);
    } else if (length < kShortLine) {
        char line[kShortLine];
        memcpy(line, text, length);
        line[length] = '\n';
        WriteBytes(line, length + 1);
    } else if (WriteBytes(text, length)) {
        WriteBytes("\n", 1);
    }
}

[[gnu::always_inline]] inline void Logger::Impl::Write(const char* text, size_t length) {
    const std::lock_guard lock(mutex_);
    if (!good_)
        return;
    if (options_.linesPerFile != 0 && lines_ >= options_.linesPerFile) {
        file_ = Descriptor();
        lines_ = 0;
        Next(false);
    }
    if (file_.Get() < 0) {
        good_ = false;
        return;
    }
    WriteLine(text, length);
    if (options_.linesPerFile != 0)
        ++lines_;
}

void Logger::Impl::Snapshot() {
    // Printed only when the mutex is free again, because the lines may well come back to this logger.
    for (const std::string& failure : TakeSnapshot())
        if (DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "%s", failure.c_str());
}

// Returns what to say about the files that could not be copied.
std::vector<std::string> Logger::Impl::TakeSnapshot() {
    const std::lock_guard lock(mutex_);
    Listing listing;
    if (!List(options_, listing))
        return {};
    std::vector<SnapshotInfo>& snapshots = listing.snapshots;
    Assert(options_.maxSnapshots != 0);
    while (snapshots.size() >= options_.maxSnapshots) {
        FileUtilities::RemoveDirectoryAndContents(snapshots.front().GetPath());
        snapshots.erase(snapshots.begin());
    }
    const uint32_t index = NextIndex(options_, snapshots);
    if (index == 0)
        throw MonitorException("Could not renumber the snapshots in \"%s\": %s", options_.directory.c_str(),
                               ErrnoText(errno).c_str());
    const std::string path = SnapshotInfo(options_, index).GetPath();
    FileUtilities::CreateDirectory(path);
    std::vector<std::string> failures;
    for (const LogFileInfo& file : listing.files) {
        try {
            FileUtilities::CopyFile(file.GetPath(), path + "/" + file.GetName());
        } catch (const MonitorException& e) {
            failures.push_back(e.Description());
        }
    }
    return failures;
}

Logger::Logger(const LoggerOptions& options) : impl_(std::make_unique<Impl>(options)) {}

Logger::~Logger() = default;

void Logger::Write(const char* text) {
    if (text)
        impl_->Write(text, strlen(text));
}

void Logger::Write(const char* text, size_t length) {
    impl_->Write(text, length);
}

void Logger::Snapshot() {
    impl_->Snapshot();
}

bool Logger::IsGood() const {
    return impl_->IsGood();
}

}  // namespace quarn
