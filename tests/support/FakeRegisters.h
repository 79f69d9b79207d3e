#pragma once

#include "support/FakeDeviceIO.h"

#include <map>
#include <string>
#include <vector>

namespace quarn::test {

/// Physical memory behind /dev/mem, zeros at first, that outlives its mappings. It is mapped as strictly as
/// the kernel maps a file, and notes each access to a register.
class FakeRegisters : public FakeDeviceIO {
public:
    FakeRegisters();
    ~FakeRegisters() override;

    /// What is in memory, read and changed without a note.
    uint32_t Word(uint64_t address) const;
    void SetWord(uint64_t address, uint32_t value);
    /// Makes the word a counter, which goes on by so much after each read and which writes do not change.
    void MakeCounter(uint64_t address, uint32_t start, uint32_t step);

    /// The accesses since the last call, in order: "r 0x1004" and "w 0x1004 0x20".
    std::vector<std::string> TakeAccesses();
    /// The mappings made since the last call, in order: "0x1000 +4096".
    std::vector<std::string> TakeMappings();
    size_t Mapped() const { return mapped_.size(); }

    int32_t Open(const std::string& path, int32_t flags, uint32_t mode = 0) override;
    void* Map(size_t length, int32_t protection, int32_t flags, int32_t fd, int64_t offset) override;
    int32_t Unmap(void* address, size_t length) override;
    uint32_t Read32(const volatile uint32_t* word) override;
    void Write32(volatile uint32_t* word, uint32_t value) override;

private:
    struct Mapping {
        size_t length;
        uint64_t physical;
    };

    uint64_t PhysicalAddress(const volatile void* address) const;

    int memory_;
    std::map<uintptr_t, Mapping> mapped_;
    std::map<uint64_t, uint32_t> steps_;  // of the counters
    std::vector<std::string> accesses_;
    std::vector<std::string> mappings_;
};

}  // namespace quarn::test
