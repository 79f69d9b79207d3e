#pragma once

#include <quarn/DeviceIO.h>

#include "OpenFile.h"

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace quarn::sim {

/// The paths of a board and the descriptors that are open on them. Guarded by the board's mutex.
class Nodes {
public:
    static constexpr int32_t kNone = -1;

    /// Throws MonitorException when the path is taken.
    void Add(const std::string& path, std::unique_ptr<Node> node);
    /// Null when there is no such path, whether or not it was removed.
    Node* Find(const std::string& path) const;
    /// Return false when there is no such path.
    bool Remove(const std::string& path);
    bool PutBack(const std::string& path);
    /// Lets `other` have the paths that are not the board's.
    void PassOn(DeviceIO& other) { other_ = &other; }

    /// A new descriptor, or -1 with errno set.
    int32_t Open(const std::string& path, int32_t flags, uint32_t mode);
    /// The file of a descriptor; null, with errno set, when there is none.
    std::shared_ptr<OpenFile> Find(int32_t fd) const;
    /// Likewise when its device was removed, and with `error` when its access mode is the forbidden one.
    std::shared_ptr<OpenFile> Get(int32_t fd, int32_t forbidden = kNone, int error = 0) const;
    void Drop(int32_t fd) { open_.erase(fd); }
    void DropAll() { open_.clear(); }
    /// All that is stored, in the order of the paths.
    std::vector<Medium*> Media() const;
    int64_t FileSize(const std::string& path) const;
    size_t Descriptors() const { return open_.size(); }

private:
    struct Place {
        std::unique_ptr<Node> node;
        bool isAway = false;
        uint64_t removals = 0;
    };
    struct Descriptor {
        std::shared_ptr<OpenFile> file;
        int32_t access;
        const Place* place;  // null for a path that was passed on
        uint64_t removals;
    };

    /// Null when it is another's or away.
    const Place* Present(const std::string& path) const;
    bool IsPassedOn(const std::string& path) const;

    std::map<std::string, Place> places_;
    std::map<int32_t, Descriptor> open_;
    int32_t next_ = 1 << 20;  // far from the system's, so that one for the other is noticed
    DeviceIO* other_ = nullptr;
};

}  // namespace quarn::sim
