#pragma once

#include <quarn/DeviceIO.h>

#include <stdint.h>

#include <string>

namespace quarn {

/// Looks flash partitions up in the kernel's table, /proc/mtd.
class MTDUtilities {
public:
    /// Returns the path of the character device of the first partition with this name, and stores the sizes
    /// in bytes of the partition and of its erase blocks. Returns an empty text, storing nothing, when there
    /// is none or the table cannot be read.
    static std::string MTDNameToCharDevicePath(const std::string& name, uint64_t* size,
                                               uint64_t* eraseBlockSize, DeviceIO& io);
};

}  // namespace quarn
