#pragma once

#include <quarn/DeviceIO.h>

#include <stdint.h>

#include <string>

namespace quarn {

/// An open node under /dev. Messages begin with the tag.
class DeviceNode {
public:
    /// Opens it for reading and writing. Throws "TAG: Could not open KIND device /dev/NAME: ...".
    DeviceNode(DeviceIO& io, const char* tag, const char* kind, const std::string& name);
    /// A failure is printed with mask ERR: "TAG: could not close /dev/NAME: ...".
    ~DeviceNode();
    DeviceNode(const DeviceNode&) = delete;
    DeviceNode& operator=(const DeviceNode&) = delete;

    const std::string& Name() const { return name_; }
    int32_t Get() const { return fd_; }

private:
    DeviceIO& io_;
    const char* const tag_;
    const std::string name_;
    const int32_t fd_;
};

}  // namespace quarn
