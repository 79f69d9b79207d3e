#include "Storage.h"

#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include <mtd/mtd-user.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

namespace quarn::sim {

namespace {

constexpr size_t kLargestEEPROM = 16777216;
constexpr size_t kScatter = 16;
constexpr char kTableHeading[] = "dev:    size   erasesize  name\n";

std::string Reason(int error) {
    return std::generic_category().message(error);
}

size_t CheckedSize(size_t size, size_t eraseSize) {
    if (size == 0 || eraseSize == 0 || size % eraseSize != 0 || size > UINT32_MAX)
        throw MonitorException("SIM: an MTD partition has whole erase blocks, below 4 GiB");
    return size;
}

size_t CheckedEEPROMSize(size_t size) {
    if (size == 0 || size > kLargestEEPROM)
        throw MonitorException("SIM: an EEPROM has 1 to %zu bytes", kLargestEEPROM);
    return size;
}

/// An open file with a position.
class PositionedFile : public OpenFile {
public:
    int64_t Seek(int64_t offset, int32_t whence) override {
        const int64_t base = whence == SEEK_SET   ? 0
                             : whence == SEEK_CUR ? position_
                             : whence == SEEK_END ? int64_t(Size())
                                                  : -1;
        int64_t target;
        if (base < 0 || __builtin_add_overflow(base, offset, &target) || target < 0 ||
            (!CanSeekBeyond() && target > int64_t(Size())))
            return Refuse(EINVAL);
        return position_ = target;
    }

protected:
    virtual size_t Size() const = 0;
    virtual bool CanSeekBeyond() const { return true; }

    size_t Left() const { return position_ < int64_t(Size()) ? Size() - size_t(position_) : 0; }
    ssize_t ReadFrom(const uint8_t* first, void* data, size_t length) {
        length = std::min(length, Left());
        if (length != 0)
            memcpy(data, first + position_, length);
        position_ += int64_t(length);
        return ssize_t(length);
    }
    ssize_t WriteTo(Medium& medium, const std::vector<uint8_t>& bytes) {
        const int error = medium.Put(size_t(position_), bytes);
        if (error != 0)
            return Refuse(error);
        position_ += int64_t(bytes.size());
        return ssize_t(bytes.size());
    }

    int64_t position_ = 0;
};

class MTDFile final : public PositionedFile {
public:
    MTDFile(MTDPartition& partition, bool canWrite) : partition_(partition), canWrite_(canWrite) {}

    ssize_t Read(void* data, size_t length) override {
        return ReadFrom(partition_.medium.At(0), data, length);
    }

    ssize_t Write(const void* data, size_t length) override {
        if (Left() == 0)
            return Refuse(ENOSPC);
        const uint8_t* const from = static_cast<const uint8_t*>(data);
        std::vector<uint8_t> bytes(from, from + std::min(length, Left()));
        for (size_t i = 0; i < bytes.size(); ++i)
            bytes[i] &= *partition_.medium.At(size_t(position_) + i);  // flash only clears bits
        return WriteTo(partition_.medium, bytes);
    }

    int32_t IOCtl(unsigned long request, void* argument) override {
        if (request == MEMGETINFO)
            return GetInfo(argument);
        if (request == MEMERASE)
            return Erase(argument);
        return Refuse(ENOTTY);
    }

private:
    size_t Size() const override { return partition_.medium.Size(); }
    bool CanSeekBeyond() const override { return false; }

    int32_t GetInfo(void* argument) const {
        mtd_info_user info{};
        info.type = MTD_NORFLASH;
        info.flags = MTD_CAP_NORFLASH;
        info.size = uint32_t(Size());
        info.erasesize = uint32_t(partition_.eraseSize);
        info.writesize = 1;
        memcpy(argument, &info, sizeof info);
        return 0;
    }

    int32_t Erase(const void* argument) {
        erase_info_user range;
        memcpy(&range, argument, sizeof range);
        if (!canWrite_)
            return Refuse(EPERM);
        if (range.start >= Size() || range.length > Size() - range.start ||
            range.start % partition_.eraseSize != 0 || range.length % partition_.eraseSize != 0)
            return Refuse(EINVAL);
        const int error = partition_.medium.Put(range.start, std::vector<uint8_t>(range.length, 0xFF));
        return error != 0 ? Refuse(error) : 0;
    }

    MTDPartition& partition_;
    const bool canWrite_;
};

class TableFile final : public PositionedFile {
public:
    explicit TableFile(const std::vector<uint8_t>& text) : text_(text) {}
    ssize_t Read(void* data, size_t length) override { return ReadFrom(text_.data(), data, length); }

private:
    size_t Size() const override { return text_.size(); }

    const std::vector<uint8_t> text_;
};

class EEPROMOpenFile final : public PositionedFile {
public:
    explicit EEPROMOpenFile(EEPROMFile& eeprom) : eeprom_(eeprom) {}

    ssize_t Read(void* data, size_t length) override {
        return ReadFrom(eeprom_.medium.At(0), data, std::min(length, eeprom_.mostAtOnce));
    }

    ssize_t Write(const void* data, size_t length) override {
        if (Left() == 0)
            return Refuse(EFBIG);
        const uint8_t* const from = static_cast<const uint8_t*>(data);
        return WriteTo(eeprom_.medium, {from, from + std::min({length, Left(), eeprom_.mostAtOnce})});
    }

    int32_t Sync() override {
        const int error = eeprom_.medium.Sync();
        return error != 0 ? Refuse(error) : 0;
    }

private:
    size_t Size() const override { return eeprom_.medium.Size(); }

    EEPROMFile& eeprom_;
};

class OrdinaryOpenFile final : public PositionedFile {
public:
    explicit OrdinaryOpenFile(Medium& medium) : medium_(medium) {}

    ssize_t Read(void* data, size_t length) override { return ReadFrom(medium_.At(0), data, length); }
    ssize_t Write(const void* data, size_t length) override {
        const uint8_t* const from = static_cast<const uint8_t*>(data);
        return WriteTo(medium_, {from, from + length});
    }
    int32_t Truncate(int64_t length) override {
        if (length < 0)
            return Refuse(EINVAL);
        medium_.Resize(size_t(length));
        return 0;
    }
    int32_t Sync() override { return medium_.Sync(); }

private:
    size_t Size() const override { return medium_.Size(); }

    Medium& medium_;
};

}  // namespace

Medium::Medium(Faults& faults, size_t size, const std::string& backing, bool isCached)
    : faults_(faults), isCached_(isCached), now_{true, std::vector<uint8_t>(size, 0xFF)}, synced_(now_) {
    if (backing.empty())
        return;
    file_ = open(backing.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file_ < 0)
        throw MonitorException("SIM: could not open %s: %s", backing.c_str(), Reason(errno).c_str());
    try {
        Load(backing);
    } catch (...) {
        close(file_);
        throw;
    }
}

Medium::~Medium() {
    if (file_ >= 0)
        close(file_);
}

void Medium::Load(const std::string& backing) {
    struct stat status;
    if (fstat(file_, &status) != 0)
        throw MonitorException("SIM: could not read %s: %s", backing.c_str(), Reason(errno).c_str());
    if (status.st_size == 0) {
        const int error = Store(0, Size());
        if (error != 0)
            throw MonitorException("SIM: could not write %s: %s", backing.c_str(), Reason(error).c_str());
    } else if (size_t(status.st_size) != Size()) {
        throw MonitorException("SIM: %s has %lu bytes instead of %zu", backing.c_str(),
                               uint64_t(status.st_size), Size());
    } else if (pread(file_, now_.bytes.data(), Size(), 0) != ssize_t(Size())) {
        throw MonitorException("SIM: could not read %s: %s", backing.c_str(), Reason(errno).c_str());
    }
    synced_ = now_;
}

int Medium::Store(size_t position, size_t count) const {
    for (size_t done = 0; file_ >= 0 && done < count;) {
        const ssize_t more = pwrite(file_, At(position + done), count - done, off_t(position + done));
        if (more < 0)
            return errno;
        done += size_t(more);
    }
    return 0;
}

void Medium::SetBytes(std::vector<uint8_t> bytes) {
    now_ = {true, std::move(bytes)};
    synced_ = now_;
    Store(0, Size());
}

int Medium::Put(size_t position, const std::vector<uint8_t>& bytes) {
    const size_t count = faults_.Spend(bytes.size());
    if (position + count > Size())
        Resize(position + count);
    std::copy_n(bytes.begin(), count, now_.bytes.begin() + ptrdiff_t(position));
    if (!isCached_)
        std::copy_n(bytes.begin(), count, synced_.bytes.begin() + ptrdiff_t(position));
    const int error = Store(position, count);
    return error != 0 || count == bytes.size() ? error : EIO;
}

void Medium::LosePower(Unsynced unsynced, std::mt19937& coin) {
    if (isCached_ && unsynced == Unsynced::LOST)
        now_ = synced_;
    for (size_t start = 0; isCached_ && unsynced == Unsynced::SCATTERED && start < Size();
         start += kScatter) {
        if (coin() & 1)
            continue;
        for (size_t i = start; i < std::min(start + kScatter, Size()); ++i)
            now_.bytes[i] = i < synced_.bytes.size() ? synced_.bytes[i] : 0;
    }
    synced_ = now_;
    Store(0, Size());
}

int Medium::Sync() {
    synced_ = now_;
    return file_ >= 0 && fdatasync(file_) != 0 ? errno : 0;
}

MTDPartition::MTDPartition(Faults& faults, const std::string& partitionName, size_t size, size_t blockSize,
                           const std::string& backing)
    : name(partitionName),
      eraseSize(blockSize),
      medium(faults, CheckedSize(size, blockSize), backing, false) {}

std::unique_ptr<OpenFile> MTDPartition::Open(int32_t flags) {
    return std::make_unique<MTDFile>(*this, (flags & O_ACCMODE) != O_RDONLY);
}

PartitionTable::PartitionTable(Faults& faults) : medium_(faults, 0, "", true) {
    medium_.SetBytes({kTableHeading, kTableHeading + strlen(kTableHeading)});
}

void PartitionTable::Add(const MTDPartition& partition) {
    const std::string line = Format("mtd%zu: %08zx %08zx \"%s\"\n", partitions_++, partition.medium.Size(),
                                    partition.eraseSize, partition.name.c_str());
    std::vector<uint8_t> text = medium_.Bytes();
    text.insert(text.end(), line.begin(), line.end());
    medium_.SetBytes(std::move(text));
}

std::unique_ptr<OpenFile> PartitionTable::Open(int32_t flags) {
    if ((flags & O_ACCMODE) != O_RDONLY) {
        errno = EACCES;
        return nullptr;
    }
    return std::make_unique<TableFile>(medium_.Bytes());
}

EEPROMFile::EEPROMFile(Faults& faults, size_t size, size_t most, const std::string& backing)
    : mostAtOnce(most), medium(faults, CheckedEEPROMSize(size), backing, true) {}

std::unique_ptr<OpenFile> EEPROMFile::Open(int32_t) {
    return std::make_unique<EEPROMOpenFile>(*this);
}

OrdinaryFile::OrdinaryFile(Faults& faults) : medium_(faults, 0, "", true) {
    medium_.SetExists(false);
    medium_.Sync();
}

std::unique_ptr<OpenFile> OrdinaryFile::Open(int32_t flags) {
    if (!Exists() && !(flags & O_CREAT)) {
        errno = ENOENT;
        return nullptr;
    }
    medium_.SetExists(true);
    if (flags & O_TRUNC)
        medium_.Resize(0);
    return std::make_unique<OrdinaryOpenFile>(medium_);
}

}  // namespace quarn::sim
