#pragma once

/// A rotating set of numbered log files in one directory, and numbered snapshots of them.
///
///     quarn::LoggerOptions options;
///     options.directory = "/var/log/unit";
///     try {
///         quarn::Logger logger(options);  // begins 01-start.txt, 02-start.txt, ...
///         logger.Write("ready");
///         logger.Snapshot();  // copies the log files to snapshot-01, snapshot-02, ...
///         if (!logger.IsGood())
///             puts("not logging: no log file could be opened");
///     } catch (const quarn::MonitorException& e) {  // options that do not fit, or a failed snapshot
///         puts(e.Description().c_str());
///     }
///
/// A higher number is always the younger file: when the numbers run out or have gaps, the files that are left
/// are renamed to count from 1. Regular files whose names fit are log files and directories whose names fit
/// are snapshots, whoever made them; everything else in the directory is left alone.

#include <quarn/Attributes.h>

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>

namespace quarn {

/// Where a logger writes and how much it keeps.
struct QUARN_API LoggerOptions {
    std::string directory;               ///< must exist; empty means "./"; a "/" is appended when missing
    std::string suffix = ".txt";         ///< ending of every log file's name
    std::string startMarker = "-start";  ///< before the suffix of the first file of each logger
    uint32_t indexDigits = 2;            ///< of every number, 1 to 6; the largest index is all nines
    uint32_t linesPerFile = 10000;       ///< lines to a file before the next is begun, 0 for no end
    uint32_t maxLogFiles = 10;           ///< files kept, the open one included; 0 means the largest index
    uint32_t maxSnapshots = 10;          ///< snapshots kept; 0 means the largest index
};

/// The name and place of one log file, such as 01-start.txt or 02.txt. The options are valid ones.
class QUARN_API LogFileInfo {
public:
    LogFileInfo(const LoggerOptions& options, uint32_t index, bool start);
    /// Parses a directory entry's name. The index is 0 when it is not a log file's name; no log file has the
    /// number 0.
    LogFileInfo(const LoggerOptions& options, const std::string& name);

    const std::string& GetName() const { return name_; }
    const std::string& GetPath() const { return path_; }
    uint32_t GetIndex() const { return index_; }
    /// Whether the name carries the start marker.
    bool IsStart() const { return start_; }

    /// By index alone.
    bool operator<(const LogFileInfo& other) const { return index_ < other.index_; }

private:
    std::string name_;
    std::string path_;
    uint32_t index_;
    bool start_;
};

/// The name and place of one snapshot directory, such as snapshot-01. The options are valid ones.
class QUARN_API SnapshotInfo {
public:
    SnapshotInfo(const LoggerOptions& options, uint32_t index);
    /// Parses a directory entry's name. The index is 0 when it is not a snapshot's name.
    SnapshotInfo(const LoggerOptions& options, const std::string& name);

    const std::string& GetName() const { return name_; }
    const std::string& GetPath() const { return path_; }
    uint32_t GetIndex() const { return index_; }

    /// By index alone.
    bool operator<(const SnapshotInfo& other) const { return index_ < other.index_; }

private:
    std::string name_;
    std::string path_;
    uint32_t index_;
};

/// Any thread may write and take snapshots. Nothing is written but what Write() is given.
class QUARN_API Logger {
public:
    /// Begins a new log file whose name carries the start marker, and makes room for it. That it could not
    /// be opened is no exception but shows in IsGood(). Throws MonitorException "Logger must use between 1
    /// and 6 index digits", "Requested limit of ... log files is too many for ... index digits (max is ...)"
    /// or the same for snapshots.
    explicit Logger(const LoggerOptions& options);
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    /// Writes the text as one line, adding a newline unless it ends in one; null is ignored. The system has
    /// the line when the call returns, so that it survives the end of the program. When a line does not fit
    /// the disk it is lost and counts all the same, so that the next rotation makes room; logging goes on
    /// with the next line. When the next file cannot be begun (an old one cannot be deleted, or renamed to a
    /// name that is free, or the new one not opened), the logger writes nothing from then on.
    void Write(const char* text);
    /// The same for text of known length; a line that brings its newline along is not copied.
    void Write(const char* text, size_t length);

    /// Copies every log file into a new snapshot directory; before that the oldest snapshots are removed with
    /// all they contain, so that with the new one as many as allowed are left. Writers wait meanwhile. Does
    /// nothing when the directory cannot be listed. A file that cannot be copied is left out, which is
    /// printed through the default Debug with mask ERR; therefore not to be called with the lock of something
    /// that prints. Throws MonitorException when an old snapshot cannot be removed or renamed or the new one
    /// not be created. It works, and does not change IsGood(), whether or not the logger can still write.
    void Snapshot();

    /// False once a log file could not be begun; nothing is written from then on.
    bool IsGood() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
