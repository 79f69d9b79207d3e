#pragma once

#include "OpenFile.h"

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn::sim {

/// The bytes of a storage device, 0xFF at first, kept in a backing file if it has one.
class Medium {
public:
    /// `backing` may be empty. Throws MonitorException when the backing file cannot be opened or read, and
    /// when it has another size.
    Medium(size_t size, const std::string& backing);
    ~Medium();
    Medium(const Medium&) = delete;
    Medium& operator=(const Medium&) = delete;

    size_t Size() const { return bytes_.size(); }
    const uint8_t* At(size_t position) const { return bytes_.data() + position; }
    /// Returns 0 or the errno of the backing file.
    int Put(size_t position, const std::vector<uint8_t>& bytes);
    int Sync();

private:
    void Load(const std::string& backing);

    std::vector<uint8_t> bytes_;
    int file_ = -1;
};

/// A flash partition, with the manners of the kernel's mtdchar.
class MTDPartition final : public Node {
public:
    /// Throws MonitorException unless whole blocks make up less than 4 GiB.
    MTDPartition(const std::string& name, size_t size, size_t eraseSize, const std::string& backing);

    std::unique_ptr<OpenFile> Open(int32_t flags) override;

    const std::string name;
    const size_t eraseSize;
    Medium medium;
};

/// /proc/mtd.
class PartitionTable final : public Node {
public:
    void Add(const MTDPartition& partition);
    size_t Partitions() const { return partitions_; }
    std::unique_ptr<OpenFile> Open(int32_t flags) override;

private:
    std::string text_ = "dev:    size   erasesize  name\n";
    size_t partitions_ = 0;
};

/// An EEPROM that the kernel shows as a file.
class EEPROMFile final : public Node {
public:
    /// Throws MonitorException unless there are 1 to 16777216 bytes. `mostAtOnce` bounds what one call moves.
    EEPROMFile(size_t size, size_t mostAtOnce, const std::string& backing);

    int64_t Size() const override { return int64_t(medium.Size()); }
    std::unique_ptr<OpenFile> Open(int32_t flags) override;

    const size_t mostAtOnce;
    Medium medium;
};

}  // namespace quarn::sim
