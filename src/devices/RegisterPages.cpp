#include "devices/RegisterPages.h"

#include <quarn/Debug.h>
#include <quarn/MonitorException.h>

#include "foundation/DeviceFile.h"
#include "foundation/ErrnoText.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace quarn {

RegisterPages::RegisterPages(DeviceIO& io) : io_(io), pageSize_(uint64_t(sysconf(_SC_PAGESIZE))) {}

RegisterPages::~RegisterPages() {
    for (const auto& [address, base] : pages_) {
        if (io_.Unmap(base, pageSize_) != 0 && DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "REG: munmap failed: %s",
                                   ErrnoText(errno).c_str());
    }
}

volatile uint32_t* RegisterPages::Word(uint64_t address) {
    const uint64_t inPage = address % pageSize_;
    auto [found, isNew] = pages_.try_emplace(address - inPage);
    if (isNew) {
        try {
            found->second = Map(address - inPage);
        } catch (...) {
            pages_.erase(found);
            throw;
        }
    }
    return reinterpret_cast<volatile uint32_t*>(static_cast<char*>(found->second) + inPage);
}

void* RegisterPages::Map(uint64_t page) {
    const DeviceFile memory(io_, io_.Open("/dev/mem", O_RDWR));
    if (memory.Get() < 0)
        throw MonitorException("REG: Could not open /dev/mem: %s", ErrnoText(errno).c_str());
    void* const base = io_.Map(pageSize_, PROT_READ | PROT_WRITE, MAP_SHARED, memory.Get(), int64_t(page));
    // The text's own 0x stands before the one that %p prints.
    if (base == MAP_FAILED)
        throw MonitorException("REG: Could not map page [0x%p..0x%p): %s", reinterpret_cast<void*>(page),
                               reinterpret_cast<void*>(page + pageSize_), ErrnoText(errno).c_str());
    return base;
}

}  // namespace quarn
