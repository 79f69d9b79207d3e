#include <quarn/Debug.h>
#include <quarn/MemoryHelpers.h>
#include <quarn/MemoryMapping.h>
#include <quarn/MonitorException.h>

#include "foundation/DeviceFile.h"
#include "foundation/ErrnoText.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <limits>

namespace quarn {

namespace {

constexpr int32_t kNoFile = -1;

void* AsPointer(uint64_t address) {
    return reinterpret_cast<void*>(address);
}

}  // namespace

class MemoryMapping::Impl {
public:
    Impl(DeviceIO& io, uint64_t address, size_t length) : io_(io), pageSize_(size_t(sysconf(_SC_PAGESIZE))) {
        inPage_ = size_t(address % pageSize_);
        offset_ = address - inPage_;
        length_ = WholePages(length);
    }
    ~Impl() {
        if (base_ && io_.Unmap(base_, length_) != 0 && DefaultDebug())
            DefaultDebug()->Printf(
                DEBUG_ERR, __FILE__, __LINE__, "munmap failed on virtual range [%p..%p): %s", base_,
                static_cast<void*>(static_cast<char*>(base_) + length_), ErrnoText(errno).c_str());
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void MapAnonymous() {
        // Neither shared nor private, deliberately.
        Map(MAP_ANONYMOUS, kNoFile);
    }

    void MapFile(const std::string& path) {
        const DeviceFile file(io_, io_.Open(path, O_RDWR | O_CREAT, 0600));
        if (file.Get() < 0)
            throw MonitorException("Could not open %s: %s", path.c_str(), ErrnoText(errno).c_str());
        if (io_.Truncate(file.Get(), int64_t(length_)) != 0)
            throw MonitorException("Could not make %s %zu bytes long: %s", path.c_str(), length_,
                                   ErrnoText(errno).c_str());
        Map(MAP_SHARED, file.Get());
    }

    void MapPhysical() {
        const DeviceFile memory(io_, io_.Open("/dev/mem", O_RDWR));
        if (memory.Get() < 0)
            throw MonitorException("Could not open /dev/mem: %s", ErrnoText(errno).c_str());
        Map(MAP_SHARED, memory.Get());
    }

    void* Pointer() const { return static_cast<char*>(base_) + inPage_; }
    void Zero() { quarn_memclr(static_cast<volatile void*>(base_), length_); }

private:
    /// The bytes in the pages that hold the range. A length that no pages can hold stays one that the system
    /// refuses.
    size_t WholePages(size_t length) const {
        const size_t most = std::numeric_limits<size_t>::max() - (pageSize_ - 1);
        if (length == 0 || length > most - inPage_)
            return length == 0 ? 0 : most;
        return (inPage_ + length + pageSize_ - 1) / pageSize_ * pageSize_;
    }

    void Map(int32_t flags, int32_t fd) {
        void* const base = io_.Map(length_, PROT_READ | PROT_WRITE, flags, fd, int64_t(offset_));
        if (base == MAP_FAILED)
            throw MonitorException("mmap failed on physical range [%p..%p): %s", AsPointer(offset_),
                                   AsPointer(offset_ + length_ - 1), ErrnoText(errno).c_str());
        base_ = base;
    }

    DeviceIO& io_;
    const size_t pageSize_;
    size_t inPage_;    // where the range begins in its first page
    uint64_t offset_;  // that page's address
    size_t length_;    // of the mapping
    void* base_ = nullptr;
};

MemoryMapping::MemoryMapping(size_t length, DeviceIO& io) : impl_(std::make_unique<Impl>(io, 0, length)) {
    impl_->MapAnonymous();
}

MemoryMapping::MemoryMapping(const std::string& path, size_t length, DeviceIO& io)
    : impl_(std::make_unique<Impl>(io, 0, length)) {
    impl_->MapFile(path);
}

MemoryMapping::MemoryMapping(uint64_t physicalAddress, size_t length, DeviceIO& io)
    : impl_(std::make_unique<Impl>(io, physicalAddress, length)) {
    impl_->MapPhysical();
}

MemoryMapping::~MemoryMapping() = default;

void* MemoryMapping::Ptr() const {
    return impl_->Pointer();
}

volatile void* MemoryMapping::VolatilePtr() const {
    return impl_->Pointer();
}

void MemoryMapping::Zero() {
    impl_->Zero();
}

}  // namespace quarn
