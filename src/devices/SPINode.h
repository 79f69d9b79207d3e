#pragma once

#include <quarn/DeviceIO.h>

#include "devices/DeviceNode.h"

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

struct spi_ioc_transfer;

namespace quarn {

/// One open SPI node. For one thread at a time.
class SPINode {
public:
    SPINode(DeviceIO& io, const std::string& name);

    const std::string& Name() const { return node_.Name(); }
    uint32_t Mode() const { return mode_; }
    /// How many bytes the kernel moves one way in one transaction.
    uint32_t TransferSize() const { return transferSize_; }

    void SetMode(uint8_t mode);
    std::vector<uint8_t> Transact(const std::vector<uint8_t>& bytes);
    std::vector<uint8_t> Transact3Wire(const std::vector<uint8_t>& bytes, size_t count);

private:
    void CheckSize(size_t size) const;
    void Run(unsigned long request, spi_ioc_transfer* transfers);
    [[noreturn]] void ThrowTransactionFailure(int32_t error) const;

    DeviceIO& io_;
    const DeviceNode node_;
    uint32_t mode_ = 0;
    uint32_t transferSize_;
};

}  // namespace quarn
