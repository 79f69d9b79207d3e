#include "I2CBus.h"

#include <quarn/MonitorException.h>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <algorithm>
#include <utility>

namespace quarn::sim {

namespace {

constexpr uint8_t kLastAddress = 0x7F;
constexpr size_t kMostInOneTransfer = 8192;  // i2c-dev moves no more, without a complaint

class I2CBusFile final : public OpenFile {
public:
    explicit I2CBusFile(I2CBus& bus) : bus_(bus) {}

    ssize_t Read(void* data, size_t length) override {
        return Transfer(length, [&](I2CDevice& device, size_t most) {
            return device.Read(static_cast<uint8_t*>(data), most);
        });
    }

    ssize_t Write(const void* data, size_t length) override {
        return Transfer(length, [&](I2CDevice& device, size_t most) {
            return device.Write(static_cast<const uint8_t*>(data), most);
        });
    }

    int32_t IOCtl(unsigned long request, void* argument) override {
        if (request == I2C_SLAVE || request == I2C_SLAVE_FORCE)
            return Select(reinterpret_cast<uintptr_t>(argument));
        if (request == I2C_FUNCS) {
            *static_cast<unsigned long*>(argument) = I2C_FUNC_I2C;
            return 0;
        }
        return Refuse(ENOTTY);
    }

private:
    int32_t Select(uintptr_t address) {
        if (address > kLastAddress)
            return Refuse(EINVAL);
        address_ = uint8_t(address);
        return 0;
    }

    template <class Move>
    ssize_t Transfer(size_t length, Move&& move) {
        I2CDevice* const device = bus_.Find(address_);
        if (!device)
            return Refuse(ENXIO);
        const size_t most = std::min(length, kMostInOneTransfer);
        const int error = move(*device, most);
        return error != 0 ? Refuse(error) : ssize_t(most);
    }

    I2CBus& bus_;
    uint8_t address_ = 0;  // until one is selected, as in the kernel
};

}  // namespace

void I2CBus::Add(uint8_t address, std::unique_ptr<I2CDevice> device) {
    if (!devices_.emplace(address, std::move(device)).second)
        throw MonitorException("SIM: there is a device 0x%02X on %s already", address, name_.c_str());
}

I2CDevice* I2CBus::Find(uint8_t address) const {
    const auto found = devices_.find(address);
    return found == devices_.end() ? nullptr : found->second.get();
}

I2CDevice& I2CBus::Get(uint8_t address) const {
    I2CDevice* const device = Find(address);
    if (!device)
        throw MonitorException("SIM: no device 0x%02X on %s", address, name_.c_str());
    return *device;
}

std::unique_ptr<OpenFile> I2CBus::Open(int32_t) {
    return std::make_unique<I2CBusFile>(*this);
}

}  // namespace quarn::sim
