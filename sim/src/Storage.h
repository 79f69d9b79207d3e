#pragma once

#include "Faults.h"
#include "OpenFile.h"

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace quarn::sim {

/// The bytes of a storage device, 0xFF at first, kept in a backing file if it has one.
class Medium {
public:
    /// `backing` may be empty. Throws MonitorException when the backing file cannot be opened or read, and
    /// when it has another size. What is written to a cached one is safe from power cuts once it is synced.
    Medium(Faults& faults, size_t size, const std::string& backing, bool isCached);
    ~Medium();
    Medium(const Medium&) = delete;
    Medium& operator=(const Medium&) = delete;

    size_t Size() const { return now_.bytes.size(); }
    const uint8_t* At(size_t position) const { return now_.bytes.data() + position; }
    const std::vector<uint8_t>& Bytes() const { return now_.bytes; }
    /// Changes the bytes, and as many as that, from outside.
    void SetBytes(std::vector<uint8_t> bytes);
    /// Returns 0 or an errno: that of the backing file, or EIO when the power went.
    int Put(size_t position, const std::vector<uint8_t>& bytes);
    int Sync();
    void LosePower(Unsynced unsynced, std::mt19937& coin);

    /// Of a file.
    bool Exists() const { return now_.exists; }
    void SetExists(bool exists) { now_.exists = exists; }
    void Resize(size_t size) { now_.bytes.resize(size); }

private:
    struct State {
        bool exists = true;
        std::vector<uint8_t> bytes;
    };

    void Load(const std::string& backing);
    int Store(size_t position, size_t count) const;

    Faults& faults_;
    const bool isCached_;
    State now_;     // what programs see
    State synced_;  // what a power cut leaves at least
    int file_ = -1;
};

/// A flash partition, with the manners of the kernel's mtdchar.
class MTDPartition final : public Node {
public:
    /// Throws MonitorException unless whole blocks make up less than 4 GiB.
    MTDPartition(Faults& faults, const std::string& name, size_t size, size_t eraseSize,
                 const std::string& backing);

    std::unique_ptr<OpenFile> Open(int32_t flags) override;
    Medium* Storage() override { return &medium; }

    const std::string name;
    const size_t eraseSize;
    Medium medium;
};

/// /proc/mtd.
class PartitionTable final : public Node {
public:
    explicit PartitionTable(Faults& faults);
    void Add(const MTDPartition& partition);
    size_t Partitions() const { return partitions_; }
    std::unique_ptr<OpenFile> Open(int32_t flags) override;
    Medium* Storage() override { return &medium_; }

private:
    Medium medium_;
    size_t partitions_ = 0;
};

/// An EEPROM that the kernel shows as a file.
class EEPROMFile final : public Node {
public:
    /// Throws MonitorException unless there are 1 to 16777216 bytes. `mostAtOnce` bounds what one call moves.
    EEPROMFile(Faults& faults, size_t size, size_t mostAtOnce, const std::string& backing);

    int64_t Size() const override { return int64_t(medium.Size()); }
    std::unique_ptr<OpenFile> Open(int32_t flags) override;
    Medium* Storage() override { return &medium; }

    const size_t mostAtOnce;
    Medium medium;
};

/// A file of a file system, whose creation is a change to be synced, too.
class OrdinaryFile final : public Node {
public:
    explicit OrdinaryFile(Faults& faults);

    int64_t Size() const override { return Exists() ? int64_t(medium_.Size()) : Refuse(ENOENT); }
    bool Exists() const override { return medium_.Exists(); }
    std::unique_ptr<OpenFile> Open(int32_t flags) override;
    Medium* Storage() override { return &medium_; }

private:
    Medium medium_;
};

}  // namespace quarn::sim
