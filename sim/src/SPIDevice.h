#pragma once

#include "OpenFile.h"

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <vector>

namespace quarn::sim {

/// A device on an SPI bus and its node, with the manners of the kernel's spidev.
class SPIDevice final : public Node {
public:
    /// What is sent comes back so many bytes later; at once for 0.
    explicit SPIDevice(size_t delay) : register_(delay) {}

    /// Moves bytes both ways; null sends zeros, and drops what comes back.
    void Exchange(const uint8_t* sent, uint8_t* received, size_t length);

    std::unique_ptr<OpenFile> Open(int32_t flags) override;

    // Kept by the device, not by those who have it open.
    uint32_t mode = 0;
    uint32_t speed = 10000000;

private:
    std::vector<uint8_t> register_;
    size_t next_ = 0;  // the byte that comes out next, and is replaced by the one that goes in
};

}  // namespace quarn::sim
