#include "I2CDevices.h"

#include <quarn/MonitorException.h>

#include <errno.h>

namespace quarn::sim {

namespace {

constexpr size_t kMostRegisters = 256;
constexpr size_t kLargestEEPROM = 65536;
constexpr size_t kMostWithOneAddressByte = 256;

size_t CheckedCount(size_t count) {
    if (count == 0 || count > kMostRegisters)
        throw MonitorException("SIM: an I2C device has 1 to %zu registers", kMostRegisters);
    return count;
}

size_t CheckedSize(size_t size, size_t pageSize) {
    if (size == 0 || size > kLargestEEPROM || pageSize == 0 || size % pageSize != 0)
        throw MonitorException("SIM: an I2C EEPROM has whole pages, up to %zu bytes", kLargestEEPROM);
    return size;
}

}  // namespace

I2CRegisters::I2CRegisters(size_t count) : I2CDevice(CheckedCount(count), 0), rights_(count) {}

void I2CRegisters::SetRights(uint8_t first, uint8_t last, const std::string& rights) {
    if (first > last || last >= Size())
        throw MonitorException("SIM: no registers 0x%02X-0x%02X", first, last);
    if (rights != "rw" && rights != "r" && rights != "w" && rights != "-")
        throw MonitorException("SIM: rights must be \"rw\", \"r\", \"w\" or \"-\"");
    for (size_t i = first; i <= last; ++i) {
        rights_[i].canRead = rights.find('r') != std::string::npos;
        rights_[i].canWrite = rights.find('w') != std::string::npos;
    }
}

int I2CRegisters::Write(const uint8_t* data, size_t length) {
    if (length == 0)
        return 0;
    if (data[0] >= Size())
        return EIO;
    next_ = data[0];
    for (size_t i = 1; i < length; ++i) {
        if (!rights_[next_].canWrite)
            return EIO;
        SetByte(next_, data[i]);
        next_ = (next_ + 1) % Size();
    }
    return 0;
}

int I2CRegisters::Read(uint8_t* data, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        const Rights& rights = rights_[next_];
        if (!rights.canRead && !rights.canWrite)
            return EIO;
        data[i] = rights.canRead ? Byte(next_) : 0;
        next_ = (next_ + 1) % Size();
    }
    return 0;
}

I2CEEPROM::I2CEEPROM(size_t size, size_t pageSize)
    : I2CDevice(CheckedSize(size, pageSize), 0xFF),
      pageSize_(pageSize),
      addressBytes_(size > kMostWithOneAddressByte ? 2 : 1) {}

int I2CEEPROM::Write(const uint8_t* data, size_t length) {
    if (length < addressBytes_)
        return 0;
    const size_t address = addressBytes_ == 2 ? size_t(data[0]) << 8 | data[1] : data[0];
    next_ = address % Size();  // address bits that the device does not have are not looked at
    const size_t page = next_ - next_ % pageSize_;
    for (size_t i = addressBytes_; i < length; ++i) {
        SetByte(next_, data[i]);
        next_ = page + (next_ + 1 - page) % pageSize_;
    }
    return 0;
}

int I2CEEPROM::Read(uint8_t* data, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        data[i] = Byte(next_);
        next_ = (next_ + 1) % Size();
    }
    return 0;
}

}  // namespace quarn::sim
