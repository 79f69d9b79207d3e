#include "PhysicalMemory.h"

#include <quarn/DeviceIO.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <iterator>
#include <system_error>

namespace quarn::sim {

namespace {

constexpr uint64_t kEnd = uint64_t{1} << 52;  // no processor of the family has more address bits
constexpr int32_t kSharingBits = 0x0F;

uint64_t MonotonicNanoseconds() {
    return uint64_t(std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count());
}

/// Sparse: what is not touched takes no room.
int CreateMemory() {
    const int file = memfd_create("physical memory", MFD_CLOEXEC);
    if (file >= 0 && ftruncate(file, int64_t(kEnd)) == 0)
        return file;
    const int error = errno;
    if (file >= 0)
        close(file);
    throw MonitorException("SIM: no memory for the board's memory: %s",
                           std::generic_category().message(error).c_str());
}

class MemoryFile final : public OpenFile {
public:
    MemoryFile(PhysicalMemory& memory, int32_t access) : memory_(memory), access_(access) {}

    // Registers are not for read() and write(), which are for memory that programs could have.
    ssize_t Read(void*, size_t) override { return Refuse(EFAULT); }
    ssize_t Write(const void*, size_t) override { return Refuse(EFAULT); }
    void* Map(size_t length, int32_t protection, int32_t flags, int64_t offset) override {
        return memory_.Map(length, protection, flags, access_, offset);
    }

private:
    PhysicalMemory& memory_;
    const int32_t access_;
};

void* RefuseMapping(int error) {
    errno = error;
    return MAP_FAILED;
}

}  // namespace

PhysicalMemory::PhysicalMemory()
    : file_(CreateMemory()), pageSize_(uint64_t(sysconf(_SC_PAGESIZE))), clock_(MonotonicNanoseconds) {}

PhysicalMemory::~PhysicalMemory() {
    for (const auto& [address, mapping] : mapped_)
        munmap(reinterpret_cast<void*>(address), mapping.length);
    close(file_);
}

void PhysicalMemory::Add(uint64_t address, size_t size) {
    if (size == 0 || address % pageSize_ != 0 || size % pageSize_ != 0 || address >= kEnd ||
        size > kEnd - address)
        throw MonitorException("SIM: memory has whole pages of %lu bytes, below 0x%lX", pageSize_, kEnd);
    uint64_t begin = address;
    uint64_t end = address + size;
    auto next = ranges_.upper_bound(begin);
    if ((next != ranges_.end() && next->first < end) ||
        (next != ranges_.begin() && std::prev(next)->second > begin))
        throw MonitorException("SIM: there is memory at 0x%lX already", address);
    if (next != ranges_.end() && next->first == end) {
        end = next->second;
        next = ranges_.erase(next);
    }
    if (next != ranges_.begin() && std::prev(next)->second == begin)
        std::prev(next)->second = end;
    else
        ranges_[begin] = end;
}

bool PhysicalMemory::Has(uint64_t address, uint64_t size) const {
    const auto next = ranges_.upper_bound(address);
    return next != ranges_.begin() && address < std::prev(next)->second &&
           size <= std::prev(next)->second - address;
}

void PhysicalMemory::CheckWord(uint64_t address) const {
    if (address % sizeof(uint32_t) != 0 || !Has(address, sizeof(uint32_t)))
        throw MonitorException("SIM: no word at 0x%lX", address);
}

void PhysicalMemory::AddBlock(uint64_t address, size_t size, std::unique_ptr<RegisterBlock> block) {
    CheckWord(address);
    CheckWord(address + size - sizeof(uint32_t));
    const auto next = blocks_.lower_bound(address);
    if ((next != blocks_.end() && next->first < address + size) || BlockAt(address).first)
        throw MonitorException("SIM: there is a counter or timer at 0x%lX already", address);
    blocks_[address] = {size, std::move(block)};
}

PhysicalMemory::Place PhysicalMemory::BlockAt(uint64_t address) const {
    const auto next = blocks_.upper_bound(address);
    if (next == blocks_.begin() || address - std::prev(next)->first >= std::prev(next)->second.size)
        return {};
    return {std::prev(next)->second.registers.get(), size_t(address - std::prev(next)->first)};
}

uint32_t PhysicalMemory::Word(uint64_t address) const {
    CheckWord(address);
    if (const auto [block, offset] = BlockAt(address); block)
        return block->Read(offset, clock_());
    uint32_t word;
    if (pread(file_, &word, sizeof word, off_t(address)) != sizeof word)
        throw MonitorException("SIM: no word at 0x%lX", address);
    return word;
}

void PhysicalMemory::SetWord(uint64_t address, uint32_t value) {
    CheckWord(address);
    if (const auto [block, offset] = BlockAt(address); block)
        block->Set(offset, value, clock_());
    else if (pwrite(file_, &value, sizeof value, off_t(address)) != sizeof value)
        throw MonitorException("SIM: no word at 0x%lX", address);
}

std::vector<std::string> PhysicalMemory::TakeAccesses() {
    keepsAccesses_ = true;
    return std::exchange(accesses_, {});
}

void PhysicalMemory::Note(const std::string& access) {
    if (keepsAccesses_)
        accesses_.push_back(access);
}

std::unique_ptr<OpenFile> PhysicalMemory::Open(int32_t flags) {
    return std::make_unique<MemoryFile>(*this, flags & O_ACCMODE);
}

void* PhysicalMemory::Map(size_t length, int32_t protection, int32_t flags, int32_t access, int64_t offset) {
    const int32_t sharing = flags & kSharingBits;
    if (sharing != MAP_SHARED && sharing != MAP_PRIVATE && sharing != MAP_SHARED_VALIDATE)
        return RefuseMapping(EINVAL);
    if (length > kEnd)
        return RefuseMapping(ENOMEM);
    if (access == O_WRONLY || (access == O_RDONLY && sharing != MAP_PRIVATE && (protection & PROT_WRITE)))
        return RefuseMapping(EACCES);
    const size_t whole = (length + pageSize_ - 1) / pageSize_ * pageSize_;
    if (!Has(uint64_t(offset), whole))
        return RefuseMapping(EPERM);
    void* const base = mmap(nullptr, whole, protection, sharing, file_, offset);
    if (base != MAP_FAILED)
        mapped_[reinterpret_cast<uintptr_t>(base)] = {whole, protection, uint64_t(offset)};
    return base;
}

const std::pair<const uintptr_t, PhysicalMemory::Mapping>* PhysicalMemory::MappingOf(
    const volatile void* address) const {
    const auto wanted = reinterpret_cast<uintptr_t>(address);
    const auto next = mapped_.upper_bound(wanted);
    if (next == mapped_.begin() || wanted - std::prev(next)->first >= std::prev(next)->second.length)
        return nullptr;
    return &*std::prev(next);
}

bool PhysicalMemory::IsMapped(const volatile void* address) const {
    return MappingOf(address) != nullptr;
}

bool PhysicalMemory::IsMapping(const void* address, size_t length) const {
    const auto found = mapped_.find(reinterpret_cast<uintptr_t>(address));
    return found != mapped_.end() && length != 0 &&
           found->second.length == (length + pageSize_ - 1) / pageSize_ * pageSize_;
}

int32_t PhysicalMemory::Unmap(void* address) {
    const auto found = mapped_.find(reinterpret_cast<uintptr_t>(address));
    const int32_t result = munmap(address, found->second.length);
    mapped_.erase(found);
    return result;
}

uint64_t PhysicalMemory::PhysicalAddress(const volatile uint32_t* word, int32_t protection) const {
    const auto* const mapping = MappingOf(word);
    const auto address = reinterpret_cast<uintptr_t>(word);
    if (!mapping || address % sizeof *word != 0 || !(mapping->second.protection & protection)) {
        fprintf(stderr, "SIM: %s of a word at 0x%lX, which is not %s\n",
                protection == PROT_READ ? "read" : "write", address,
                mapping ? "open to that" : "mapped memory of the board");
        abort();
    }
    return mapping->second.physical + (address - mapping->first);
}

uint32_t PhysicalMemory::Read(const volatile uint32_t* word) {
    const uint64_t address = PhysicalAddress(word, PROT_READ);
    Note(Format("r 0x%lX", address));
    const auto [block, offset] = BlockAt(address);
    return block ? block->Read(offset, clock_()) : DeviceIO::System().Read32(word);
}

void PhysicalMemory::Write(volatile uint32_t* word, uint32_t value) {
    const uint64_t address = PhysicalAddress(word, PROT_WRITE);
    Note(Format("w 0x%lX 0x%X", address, value));
    if (const auto [block, offset] = BlockAt(address); block)
        block->Write(offset, value, clock_());
    else
        DeviceIO::System().Write32(word, value);
}

}  // namespace quarn::sim
