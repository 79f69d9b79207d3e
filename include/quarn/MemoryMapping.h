#pragma once

/// One mapping of physical memory, of a file, or of memory of its own, for those who need a raw pointer.
///
///     try {
///         quarn::MemoryMapping timer(0xFF110000, 0x100);
///         auto* registers = static_cast<volatile uint32_t*>(timer.VolatilePtr());
///         printf("%u\n", io.Read32(registers + 0x1C / 4));
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());  // Could not open /dev/mem: Permission denied
///     }
///
/// Lengths are in bytes and 1 or more; what is mapped are the whole pages that hold the range. The DeviceIO
/// must outlive the mapping. Constructors throw "mmap failed on physical range [%p..%p): %s" when the system
/// refuses, with the first and the last address of those pages (from 0 where there is no physical address),
/// and leave nothing open. Any thread may use the memory; there is no lock.

#include <quarn/Attributes.h>
#include <quarn/DeviceIO.h>

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>

namespace quarn {

class QUARN_API MemoryMapping {
public:
    /// Anonymous memory. The request says neither shared nor private, deliberately; Linux refuses it with
    /// "Invalid argument".
    explicit MemoryMapping(size_t length, DeviceIO& io = DeviceIO::System());
    /// A file, shared with whoever else maps it, from its beginning. It is created with permissions 0600 if it
    /// is missing, and cut or extended to the length in whole pages. Throws "Could not open %s: %s", "Could
    /// not make %s %zu bytes long: %s".
    MemoryMapping(const std::string& path, size_t length, DeviceIO& io = DeviceIO::System());
    /// Physical memory through /dev/mem. Throws "Could not open /dev/mem: %s".
    MemoryMapping(uint64_t physicalAddress, size_t length, DeviceIO& io = DeviceIO::System());
    /// Unmaps; a failure is printed with mask ERR: "munmap failed on virtual range [%p..%p): %s".
    ~MemoryMapping();
    MemoryMapping(const MemoryMapping&) = delete;
    MemoryMapping& operator=(const MemoryMapping&) = delete;

    /// The first byte of the range, at its offset in its page.
    void* Ptr() const;
    volatile void* VolatilePtr() const;

    /// Clears the whole mapping, all of its pages, as quarn_memclr() does.
    void Zero();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
