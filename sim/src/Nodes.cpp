#include "Nodes.h"

#include <quarn/MonitorException.h>

#include <string.h>

#include <atomic>
#include <filesystem>
#include <system_error>
#include <utility>

namespace quarn::sim {

namespace {

/// A file of another DeviceIO.
class PassedOnFile final : public OpenFile {
public:
    PassedOnFile(DeviceIO& io, int32_t fd) : io_(io), fd_(fd) {}
    ~PassedOnFile() override { Close(); }
    PassedOnFile(const PassedOnFile&) = delete;
    PassedOnFile& operator=(const PassedOnFile&) = delete;

    DeviceIO* Owner() const override { return &io_; }
    int32_t Close() override { return isOpen_.exchange(false) ? io_.Close(fd_) : 0; }
    ssize_t Read(void* data, size_t length) override { return io_.Read(fd_, data, length); }
    ssize_t Write(const void* data, size_t length) override { return io_.Write(fd_, data, length); }
    int64_t Seek(int64_t offset, int32_t whence) override { return io_.Seek(fd_, offset, whence); }
    int32_t Truncate(int64_t length) override { return io_.Truncate(fd_, length); }
    int32_t Sync() override { return io_.Sync(fd_); }
    int32_t IOCtl(unsigned long request, void* argument) override {
        return io_.IOCtl(fd_, request, argument);
    }
    void* Map(size_t length, int32_t protection, int32_t flags, int64_t offset) override {
        return io_.Map(length, protection, flags, fd_, offset);
    }

private:
    DeviceIO& io_;
    const int32_t fd_;
    std::atomic<bool> isOpen_ = true;
};

/// A simulated board never reaches for the devices of the machine that it runs on.
bool IsOfADevice(const std::string& path) {
    std::error_code ignored;
    const std::string normal = std::filesystem::absolute(path, ignored).lexically_normal().string();
    const size_t slashes = normal.find_first_not_of('/');
    for (const char* folder : {"dev/", "proc/", "sys/"})
        if (slashes != std::string::npos && normal.compare(slashes, strlen(folder), folder) == 0)
            return true;
    return false;
}

}  // namespace

void Nodes::Add(const std::string& path, std::unique_ptr<Node> node) {
    if (!places_.try_emplace(path, Place{std::move(node)}).second)
        throw MonitorException("SIM: there is a device %s already", path.c_str());
}

Node* Nodes::Find(const std::string& path) const {
    const auto found = places_.find(path);
    return found == places_.end() ? nullptr : found->second.node.get();
}

bool Nodes::Remove(const std::string& path) {
    const auto found = places_.find(path);
    if (found == places_.end())
        return false;
    found->second.isAway = true;
    ++found->second.removals;
    return true;
}

bool Nodes::PutBack(const std::string& path) {
    const auto found = places_.find(path);
    if (found == places_.end())
        return false;
    found->second.isAway = false;
    return true;
}

const Nodes::Place* Nodes::Present(const std::string& path) const {
    const auto found = places_.find(path);
    return found == places_.end() || found->second.isAway ? nullptr : &found->second;
}

bool Nodes::IsPassedOn(const std::string& path) const {
    return other_ && places_.count(path) == 0 && !IsOfADevice(path);
}

int32_t Nodes::Open(const std::string& path, int32_t flags, uint32_t mode) {
    Descriptor opened{nullptr, flags & O_ACCMODE, nullptr, 0};
    if (IsPassedOn(path)) {
        const int32_t fd = other_->Open(path, flags, mode);
        if (fd < 0)
            return -1;
        opened.file = std::make_shared<PassedOnFile>(*other_, fd);
    } else {
        opened.place = Present(path);
        if (!opened.place)
            return Refuse(ENOENT);
        if ((flags & O_CREAT) && (flags & O_EXCL) && opened.place->node->Exists())
            return Refuse(EEXIST);
        opened.removals = opened.place->removals;
        opened.file = opened.place->node->Open(flags);
        if (!opened.file)
            return -1;
    }
    open_.emplace(next_, std::move(opened));
    return next_++;
}

std::shared_ptr<OpenFile> Nodes::Find(int32_t fd) const {
    const auto found = open_.find(fd);
    if (found != open_.end())
        return found->second.file;
    errno = EBADF;
    return nullptr;
}

std::shared_ptr<OpenFile> Nodes::Get(int32_t fd, int32_t forbidden, int error) const {
    const auto found = open_.find(fd);
    if (found == open_.end())
        errno = EBADF;
    else if (found->second.access == forbidden)
        errno = error;
    else if (found->second.place && found->second.place->removals != found->second.removals)
        errno = ENODEV;
    else
        return found->second.file;
    return nullptr;
}

std::vector<Medium*> Nodes::Media() const {
    std::vector<Medium*> media;
    for (const auto& [path, place] : places_)
        if (Medium* const medium = place.node->Storage())
            media.push_back(medium);
    return media;
}

int64_t Nodes::FileSize(const std::string& path) const {
    if (IsPassedOn(path))
        return other_->FileSize(path);
    const Place* const place = Present(path);
    return place ? place->node->Size() : Refuse(ENOENT);
}

}  // namespace quarn::sim
