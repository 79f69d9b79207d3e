#include "support/FakeRegisters.h"

#include <quarn/Text.h>

#include <errno.h>
#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace quarn::test {

namespace {

constexpr int64_t kMemorySize = int64_t{1} << 40;

}  // namespace

FakeRegisters::FakeRegisters() : memory_(memfd_create("registers", MFD_CLOEXEC)) {
    if (memory_ < 0 || ftruncate(memory_, kMemorySize) != 0)
        throw std::runtime_error("no memory for registers");
}

FakeRegisters::~FakeRegisters() {
    close(memory_);
}

uint32_t FakeRegisters::Word(uint64_t address) const {
    uint32_t word;
    if (pread(memory_, &word, sizeof word, off_t(address)) != sizeof word)
        throw std::logic_error("no such register");
    return word;
}

void FakeRegisters::SetWord(uint64_t address, uint32_t value) {
    if (pwrite(memory_, &value, sizeof value, off_t(address)) != sizeof value)
        throw std::logic_error("no such register");
}

void FakeRegisters::MakeCounter(uint64_t address, uint32_t start, uint32_t step) {
    SetWord(address, start);
    steps_[address] = step;
}

std::vector<std::string> FakeRegisters::TakeAccesses() {
    return std::exchange(accesses_, {});
}

std::vector<std::string> FakeRegisters::TakeMappings() {
    return std::exchange(mappings_, {});
}

int32_t FakeRegisters::Open(const std::string& path, int32_t flags, uint32_t mode) {
    if (path != "/dev/mem")
        return FakeDeviceIO::Open(path, flags, mode);
    // Opened anew, so that the access mode counts.
    return Refused(Call::OPEN) ? -1 : System().Open(Format("/proc/self/fd/%d", memory_), flags, mode);
}

void* FakeRegisters::Map(size_t length, int32_t protection, int32_t flags, int32_t fd, int64_t offset) {
    void* const base = FakeDeviceIO::Map(length, protection, flags, fd, offset);
    if (base != MAP_FAILED) {
        mapped_[reinterpret_cast<uintptr_t>(base)] = {length, uint64_t(offset)};
        mappings_.push_back(Format("0x%lX +%zu", uint64_t(offset), length));
    }
    return base;
}

int32_t FakeRegisters::Unmap(void* address, size_t length) {
    const int32_t result = FakeDeviceIO::Unmap(address, length);
    const auto found = mapped_.find(reinterpret_cast<uintptr_t>(address));
    if (found == mapped_.end() || found->second.length != length)
        throw std::logic_error("unmapping what is not mapped");
    if (result == 0)
        mapped_.erase(found);
    return result;
}

uint64_t FakeRegisters::PhysicalAddress(const volatile void* address) const {
    const auto wanted = reinterpret_cast<uintptr_t>(address);
    auto found = mapped_.upper_bound(wanted);
    if (found == mapped_.begin() || wanted - (--found)->first >= found->second.length || wanted % 4 != 0)
        throw std::logic_error("no register here");
    return found->second.physical + (wanted - found->first);
}

uint32_t FakeRegisters::Read32(const volatile uint32_t* word) {
    const uint64_t address = PhysicalAddress(word);
    accesses_.push_back(Format("r 0x%lX", address));
    const uint32_t value = *word;
    const auto step = steps_.find(address);
    if (step != steps_.end())
        SetWord(address, value + step->second);
    return value;
}

void FakeRegisters::Write32(volatile uint32_t* word, uint32_t value) {
    const uint64_t address = PhysicalAddress(word);
    accesses_.push_back(Format("w 0x%lX 0x%X", address, value));
    if (steps_.count(address) == 0)
        *word = value;
}

}  // namespace quarn::test
