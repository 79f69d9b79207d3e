#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace quarn::sim {

/// A device on an I2C bus. A transfer, from start to stop, gives 0, or the errno of a byte that the device
/// does not acknowledge; what went before that byte counts.
class I2CDevice {
public:
    explicit I2CDevice(size_t size, uint8_t fill) : bytes_(size, fill) {}
    virtual ~I2CDevice() = default;

    virtual int Write(const uint8_t* data, size_t length) = 0;
    virtual int Read(uint8_t* data, size_t length) = 0;

    // From the device's own side.
    size_t Size() const { return bytes_.size(); }
    uint8_t Byte(size_t index) const { return bytes_[index]; }
    void SetByte(size_t index, uint8_t value) { bytes_[index] = value; }

protected:
    std::vector<uint8_t> bytes_;
};

class I2CRegisters final : public I2CDevice {
public:
    /// Throws MonitorException unless there are 1 to 256.
    explicit I2CRegisters(size_t count);

    /// Throws MonitorException for registers that are not there and for other rights than "rw", "r", "w", "-".
    void SetRights(uint8_t first, uint8_t last, const std::string& rights);

    int Write(const uint8_t* data, size_t length) override;
    int Read(uint8_t* data, size_t length) override;

private:
    struct Rights {
        bool canRead = true;
        bool canWrite = true;
    };

    std::vector<Rights> rights_;
    size_t next_ = 0;
};

class I2CEEPROM final : public I2CDevice {
public:
    /// Throws MonitorException unless whole pages make up to 65536 bytes.
    I2CEEPROM(size_t size, size_t pageSize);

    int Write(const uint8_t* data, size_t length) override;
    int Read(uint8_t* data, size_t length) override;

private:
    const size_t pageSize_;
    const size_t addressBytes_;
    size_t next_ = 0;
};

}  // namespace quarn::sim
