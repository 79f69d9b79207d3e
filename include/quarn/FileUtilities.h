#pragma once

/// Work on files and directories by path.
///
///     try {
///         quarn::FileUtilities::CreateDirectory("/data/backup");
///         quarn::FileUtilities::CopyFile("/data/settings", "/data/backup/settings");
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "no backup: %s\n", e.Description().c_str());
///     }
///
/// Every function throws MonitorException, with the path and the system's error text, when it cannot do all
/// of its work. All are reentrant.

#include <quarn/Attributes.h>

#include <stdint.h>

#include <string>

namespace quarn {

class QUARN_API FileUtilities {
public:
    /// Deletes a directory and all it contains. Symbolic links inside are deleted, not followed; one in the
    /// place of the directory itself is refused. Throws "Could not remove \"...\": ..." with the path of the
    /// first thing that could not be deleted; what had been deleted before is gone.
    static void RemoveDirectoryAndContents(const std::string& path);

    /// Creates one directory; what it lies in must exist. Throws "Could not create directory \"...\": ...",
    /// also when the name is taken.
    static void CreateDirectory(const std::string& path);

    /// Copies the bytes of a file to a path that must be free; the copy gets the permissions of the original
    /// as far as the process's umask lets it. Throws "Could not copy \"...\" to \"...\": ..."; what was
    /// copied until then is deleted.
    static void CopyFile(const std::string& from, const std::string& to);

    /// Deletes a file, a symbolic link itself, or a directory with nothing in it. Throws "Could not remove
    /// \"...\": ...".
    static void RemoveFileOrEmptyDirectory(const std::string& path);

    /// Whether there is anything at the path, symbolic links followed. False also when that cannot be found
    /// out; the only function here that never throws.
    static bool FileExists(const std::string& path);

    /// The size in bytes; 0 for what has none, such as a character device. Throws "Could not get the size of
    /// \"...\": ...".
    static uint64_t GetFileSize(const std::string& path);
};

}  // namespace quarn
