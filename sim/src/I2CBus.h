#pragma once

#include "I2CDevices.h"
#include "OpenFile.h"

#include <map>
#include <memory>
#include <string>

namespace quarn::sim {

/// A bus and its node, with the manners of the kernel's i2c-dev.
class I2CBus final : public Node {
public:
    explicit I2CBus(const std::string& name) : name_(name) {}

    /// Throws MonitorException for an address that is taken.
    void Add(uint8_t address, std::unique_ptr<I2CDevice> device);
    /// Throws MonitorException when there is none.
    I2CDevice& Get(uint8_t address) const;
    /// Null when nobody answers.
    I2CDevice* Find(uint8_t address) const;

    std::unique_ptr<OpenFile> Open(int32_t flags) override;

private:
    const std::string name_;
    std::map<uint8_t, std::unique_ptr<I2CDevice>> devices_;
};

}  // namespace quarn::sim
