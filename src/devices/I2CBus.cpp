#include "devices/I2CBus.h"

#include <quarn/Debug.h>
#include <quarn/MonitorException.h>

#include "foundation/ErrnoText.h"

#include <errno.h>
#include <linux/i2c-dev.h>

#include <map>

namespace quarn {

namespace {

constexpr uint32_t kMostRetries = 5;

/// What keeps the threads of this process apart: those that share an I2CBus share its descriptor of the lock
/// file, which lets them all in.
std::mutex& ProcessMutex(const std::string& bus) {
    static std::mutex registryMutex;
    // Never destroyed: buses may outlive main().
    static auto& mutexes = *new std::map<std::string, std::mutex>;
    const std::lock_guard<std::mutex> guard(registryMutex);
    return mutexes[bus];
}

/// Repeats a read or write at once while the bus is busy.
template <class Moved, class Operation>
Moved MoveRetrying(Operation&& operation) {
    Moved moved;
    while ((moved.count = operation()) < 0) {
        moved.error = errno;
        if (moved.error != EAGAIN || moved.retries == kMostRetries)
            break;
        ++moved.retries;
    }
    return moved;
}

}  // namespace

I2CBus::I2CBus(DeviceIO& io, const std::string& name)
    : io_(io), mutex_(ProcessMutex(name)), lock_(name), node_(io, "I2C", "I2C bus", name) {}

void I2CBus::Write(const Device& device, const uint8_t* data, size_t size) {
    Moved written;
    Run(device, [&] { written = WriteBytes(data, size); });
    const size_t count = Report(written, "writing to", device);
    if (count != size)
        throw MonitorException("I2C: wrote %zu of %zu bytes to %s (for %s)", count, size, Name().c_str(),
                               device.name.c_str());
}

void I2CBus::Read(const Device& device, uint8_t* data, size_t size) {
    Moved read;
    Run(device, [&] { read = ReadBytes(data, size); });
    const size_t count = Report(read, "reading from", device);
    if (count != size)
        throw MonitorException("I2C: read %zu of %zu bytes from %s (for %s)", count, size, Name().c_str(),
                               device.name.c_str());
}

uint8_t I2CBus::ReadRegister(const Device& device, uint8_t reg) {
    uint8_t value;
    const size_t count = ReadBehindAddress(device, reg, &value, 1);
    if (count != 1)
        throw MonitorException("I2C: read %zu of 1 byte from %s (for %s)", count, Name().c_str(),
                               device.name.c_str());
    return value;
}

void I2CBus::ReadRegisters(const Device& device, uint8_t first, uint8_t* data, size_t size) {
    const size_t count = ReadBehindAddress(device, first, data, size);
    if (count != size)
        throw MonitorException("I2C: read %zu of %zu bytes from %s (for %s)", count, size, Name().c_str(),
                               device.name.c_str());
}

/// The number of bytes read.
size_t I2CBus::ReadBehindAddress(const Device& device, uint8_t reg, uint8_t* data, size_t size) {
    Moved address, read;
    Run(device, [&] {
        address = WriteBytes(&reg, 1);
        if (address.count == 1)
            read = ReadBytes(data, size);
    });
    const size_t count = Report(address, "writing register address to", device);
    if (count != 1)
        throw MonitorException("I2C: wrote %zu of 1 byte of register address to %s (for %s)", count,
                               Name().c_str(), device.name.c_str());
    return Report(read, "reading from", device);
}

/// Does the transfer with the bus to itself and the device selected.
template <class Transfer>
void I2CBus::Run(const Device& device, Transfer&& transfer) {
    const std::lock_guard<std::mutex> guard(mutex_);
    lock_.Lock();
    if (io_.IOCtl(node_.Get(), I2C_SLAVE, reinterpret_cast<void*>(uintptr_t{device.address})) < 0)
        // Deliberately leaves the named lock taken; the next transfer through this object finds it so.
        throw MonitorException("I2C: failed to set device address on %s (for %s)", Name().c_str(),
                               device.name.c_str());
    transfer();
    lock_.Unlock();
}

I2CBus::Moved I2CBus::WriteBytes(const uint8_t* data, size_t size) {
    return MoveRetrying<Moved>([&] { return io_.Write(node_.Get(), data, size); });
}

I2CBus::Moved I2CBus::ReadBytes(uint8_t* data, size_t size) {
    return MoveRetrying<Moved>([&] { return io_.Read(node_.Get(), data, size); });
}

/// The number of bytes moved.
size_t I2CBus::Report(const Moved& moved, const char* what, const Device& device) const {
    if (moved.retries > 0)
        PrintRetries(moved, device);
    if (moved.count < 0)
        throw MonitorException("I2C: error %s %s (for %s): %s", what, Name().c_str(), device.name.c_str(),
                               ErrnoText(moved.error).c_str());
    return size_t(moved.count);
}

void I2CBus::PrintRetries(const Moved& moved, const Device& device) const {
    // Deliberately "reading" for writes, too.
    if (DefaultDebug())
        DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "I2C: %u retr%s reading from %s (for %s)",
                               moved.retries, moved.retries == 1 ? "y" : "ies", Name().c_str(),
                               device.name.c_str());
}

}  // namespace quarn
