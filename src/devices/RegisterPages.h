#pragma once

#include <quarn/DeviceIO.h>

#include <stdint.h>

#include <map>

namespace quarn {

/// The pages of physical memory that hold registers, each mapped when it is first asked for and unmapped with
/// this object.
class RegisterPages {
public:
    explicit RegisterPages(DeviceIO& io);
    ~RegisterPages();
    RegisterPages(const RegisterPages&) = delete;
    RegisterPages& operator=(const RegisterPages&) = delete;

    /// The word at a physical address that is a multiple of 4. Throws "REG: Could not open /dev/mem: %s",
    /// "REG: Could not map page [0x%p..0x%p): %s".
    volatile uint32_t* Word(uint64_t address);

private:
    void* Map(uint64_t page);

    DeviceIO& io_;
    const uint64_t pageSize_;
    std::map<uint64_t, void*> pages_;  // by physical address
};

}  // namespace quarn
