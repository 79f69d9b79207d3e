#pragma once

#include <quarn/DeviceIO.h>
#include <quarn/NamedLock.h>

#include "devices/DeviceNode.h"

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <mutex>
#include <string>

namespace quarn {

/// One I2C bus: its open file, and the locks that keep transfers of threads and processes apart.
class I2CBus {
public:
    /// A place on the bus, and the name that messages give it.
    struct Device {
        uint8_t address;
        std::string name;
    };

    I2CBus(DeviceIO& io, const std::string& name);

    const std::string& Name() const { return node_.Name(); }

    void Write(const Device& device, const uint8_t* data, size_t size);
    void Read(const Device& device, uint8_t* data, size_t size);
    uint8_t ReadRegister(const Device& device, uint8_t reg);
    void ReadRegisters(const Device& device, uint8_t first, uint8_t* data, size_t size);

private:
    /// What a read or write came to, its retries included.
    struct Moved {
        ssize_t count = 0;
        int32_t error = 0;
        uint32_t retries = 0;
    };

    template <class Transfer>
    void Run(const Device& device, Transfer&& transfer);
    Moved WriteBytes(const uint8_t* data, size_t size);
    Moved ReadBytes(uint8_t* data, size_t size);
    size_t ReadBehindAddress(const Device& device, uint8_t reg, uint8_t* data, size_t size);
    size_t Report(const Moved& moved, const char* what, const Device& device) const;
    void PrintRetries(const Moved& moved, const Device& device) const;

    DeviceIO& io_;
    std::mutex& mutex_;
    NamedLock lock_;
    const DeviceNode node_;
};

}  // namespace quarn
