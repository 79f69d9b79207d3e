#include <quarn/FileUtilities.h>
#include <quarn/MonitorException.h>

#include "foundation/Descriptor.h"
#include "foundation/DirectoryListing.h"
#include "foundation/ErrnoText.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <vector>

namespace quarn {

namespace {

constexpr size_t kCopyBufferSize = 64 * 1024;

[[noreturn]] void ThrowNotRemoved(const std::string& path) {
    throw MonitorException("Could not remove \"%s\": %s", path.c_str(), ErrnoText(errno).c_str());
}

// Goes by descriptors and never through a symbolic link, so that nothing outside the tree can be reached even
// when somebody rearranges it meanwhile. The path serves messages.
void RemoveTree(int parent, const std::string& name, const std::string& path) {
    const Descriptor directory(openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    std::vector<std::string> entries;
    if (directory.Get() < 0 || !ListDirectory(directory.Get(), entries))
        ThrowNotRemoved(path);
    for (const std::string& entry : entries) {
        const std::string entryPath = path + "/" + entry;
        if (unlinkat(directory.Get(), entry.c_str(), 0) == 0)
            continue;
        if (errno != EISDIR)
            ThrowNotRemoved(entryPath);
        RemoveTree(directory.Get(), entry, entryPath);
    }
    if (unlinkat(parent, name.c_str(), AT_REMOVEDIR) != 0)
        ThrowNotRemoved(path);
}

// Returns false, with the reason in errno, when not all bytes can be copied.
bool CopyBytes(int from, int to) {
    const auto buffer = std::make_unique<char[]>(kCopyBufferSize);
    for (;;) {
        const ssize_t length = read(from, buffer.get(), kCopyBufferSize);
        if (length == 0)
            return true;
        if (length < 0 && errno != EINTR)
            return false;
        for (ssize_t done = 0; done < length;) {
            const ssize_t written = write(to, buffer.get() + done, static_cast<size_t>(length - done));
            if (written < 0 && errno != EINTR)
                return false;
            done += written > 0 ? written : 0;
        }
    }
}

}  // namespace

void FileUtilities::RemoveDirectoryAndContents(const std::string& path) {
    // With a slash behind it a symbolic link would be followed.
    const std::string directory = path.substr(0, path.find_last_not_of('/') + 1);
    RemoveTree(AT_FDCWD, directory, directory);
}

void FileUtilities::CreateDirectory(const std::string& path) {
    if (mkdir(path.c_str(), 0777) != 0)
        throw MonitorException("Could not create directory \"%s\": %s", path.c_str(),
                               ErrnoText(errno).c_str());
}

void FileUtilities::CopyFile(const std::string& from, const std::string& to) {
    const auto fail = [&](int error) {
        throw MonitorException("Could not copy \"%s\" to \"%s\": %s", from.c_str(), to.c_str(),
                               ErrnoText(error).c_str());
    };
    const Descriptor source(open(from.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status;
    if (source.Get() < 0 || fstat(source.Get(), &status) != 0)
        fail(errno);
    Descriptor copy(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, status.st_mode & 0777));
    if (copy.Get() < 0)
        fail(errno);
    // Some file systems say only at the end that there was no room.
    if (!CopyBytes(source.Get(), copy.Get()) || close(copy.Release()) != 0) {
        const int error = errno;
        unlink(to.c_str());
        fail(error);
    }
}

void FileUtilities::RemoveFileOrEmptyDirectory(const std::string& path) {
    if (remove(path.c_str()) != 0)
        ThrowNotRemoved(path);
}

bool FileUtilities::FileExists(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0;
}

uint64_t FileUtilities::GetFileSize(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        throw MonitorException("Could not get the size of \"%s\": %s", path.c_str(),
                               ErrnoText(errno).c_str());
    return uint64_t(status.st_size);
}

}  // namespace quarn
