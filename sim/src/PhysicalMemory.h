#pragma once

#include "OpenFile.h"

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quarn::sim {

/// Registers that are more than memory. Offsets are in bytes from the first one; `now` is in nanoseconds.
class RegisterBlock {
public:
    virtual ~RegisterBlock() = default;
    virtual uint32_t Read(size_t offset, uint64_t now) = 0;
    virtual void Write(size_t offset, uint32_t value, uint64_t now) = 0;
    /// From outside: sets a count, too.
    virtual void Set(size_t offset, uint32_t value, uint64_t now) = 0;
};

/// The physical memory of a board, behind /dev/mem.
class PhysicalMemory final : public Node {
public:
    PhysicalMemory();
    ~PhysicalMemory() override;
    PhysicalMemory(const PhysicalMemory&) = delete;
    PhysicalMemory& operator=(const PhysicalMemory&) = delete;

    void SetClock(std::function<uint64_t()> nanoseconds) { clock_ = std::move(nanoseconds); }
    // Throw MonitorException for what cannot be or is not there.
    void Add(uint64_t address, size_t size);
    void AddBlock(uint64_t address, size_t size, std::unique_ptr<RegisterBlock> block);
    uint32_t Word(uint64_t address) const;
    void SetWord(uint64_t address, uint32_t value);
    std::vector<std::string> TakeAccesses();

    std::unique_ptr<OpenFile> Open(int32_t flags) override;
    void* Map(size_t length, int32_t protection, int32_t flags, int32_t access, int64_t offset);
    /// Whether the address is in one of its mappings, and whether these begin and end so.
    bool IsMapped(const volatile void* address) const;
    bool IsMapping(const void* address, size_t length) const;
    /// The mapping, which must be one.
    int32_t Unmap(void* address);
    size_t Mappings() const { return mapped_.size(); }

    /// Of a mapped, aligned word that the mapping allows to be read or written; ends the process for another
    /// one, as it would end on the board.
    uint32_t Read(const volatile uint32_t* word);
    void Write(volatile uint32_t* word, uint32_t value);

private:
    struct Mapping {
        size_t length;
        int32_t protection;
        uint64_t physical;
    };
    struct Block {
        size_t size;
        std::unique_ptr<RegisterBlock> registers;
    };
    /// A block and the offset in it; null for plain memory.
    using Place = std::pair<RegisterBlock*, size_t>;

    bool Has(uint64_t address, uint64_t size) const;
    void CheckWord(uint64_t address) const;
    Place BlockAt(uint64_t address) const;
    const std::pair<const uintptr_t, Mapping>* MappingOf(const volatile void* address) const;
    uint64_t PhysicalAddress(const volatile uint32_t* word, int32_t protection) const;
    void Note(const std::string& access);

    const int file_;
    const uint64_t pageSize_;
    std::function<uint64_t()> clock_;
    std::map<uint64_t, uint64_t> ranges_;  // ends by beginnings; none overlap or touch
    std::map<uint64_t, Block> blocks_;
    std::map<uintptr_t, Mapping> mapped_;
    std::vector<std::string> accesses_;
    bool keepsAccesses_ = false;
};

}  // namespace quarn::sim
