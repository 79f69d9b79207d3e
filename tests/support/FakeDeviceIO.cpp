#include "support/FakeDeviceIO.h"

#include <quarn/Text.h>

#include <errno.h>
#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>

#include <algorithm>
#include <random>
#include <stdexcept>

namespace quarn::test {

namespace {

constexpr char kPartitionTable[] = "/proc/mtd";
constexpr size_t kScatter = 16;

int Refuse(int error) {
    errno = error;
    return -1;
}

}  // namespace

struct FakeDeviceIO::Medium {
    enum Kind { FILE, EEPROM, MTD, TABLE };
    struct State {
        bool exists = true;
        std::vector<uint8_t> bytes;
    };

    /// Of what is not synced, keeps what the scatter's coin keeps.
    void Scatter(std::mt19937& coin) {
        for (size_t start = 0; start < now.bytes.size(); start += kScatter) {
            if (coin() & 1)
                continue;
            for (size_t i = start; i < std::min(start + kScatter, now.bytes.size()); ++i)
                now.bytes[i] = i < synced.bytes.size() ? synced.bytes[i] : 0;
        }
    }

    Kind kind = FILE;
    size_t eraseSize = 0;
    State now;     // what programs see
    State synced;  // what a power cut leaves at least
};

struct FakeDeviceIO::Descriptor {
    Medium* medium = nullptr;
    int32_t access = O_RDONLY;
    size_t position = 0;
};

FakeDeviceIO::FakeDeviceIO() = default;
FakeDeviceIO::~FakeDeviceIO() = default;

void FakeDeviceIO::AddAbsentFile(const std::string& path) {
    AddFile(path, {});
    Medium& medium = Get(path);
    medium.now.exists = medium.synced.exists = false;
}

void FakeDeviceIO::AddFile(const std::string& path, std::vector<uint8_t> contents) {
    media_[path] = std::make_unique<Medium>();
    SetContents(path, std::move(contents));
}

void FakeDeviceIO::AddEEPROM(const std::string& path, size_t size) {
    AddFile(path, std::vector<uint8_t>(size, 0xFF));
    Get(path).kind = Medium::EEPROM;
}

std::string FakeDeviceIO::AddMTD(const std::string& name, size_t size, size_t eraseSize) {
    const std::string device = Format("mtd%u", partitions_++);
    const std::string path = "/dev/" + device;
    AddEEPROM(path, size);
    Get(path).kind = Medium::MTD;
    Get(path).eraseSize = eraseSize;

    std::string table = "dev:    size   erasesize  name\n";
    if (Find(kPartitionTable)) {
        const std::vector<uint8_t> before = Contents(kPartitionTable);
        table.assign(before.begin(), before.end());
    }
    table += Format("%s: %08zx %08zx \"%s\"\n", device.c_str(), size, eraseSize, name.c_str());
    AddFile(kPartitionTable, std::vector<uint8_t>(table.begin(), table.end()));
    Get(kPartitionTable).kind = Medium::TABLE;
    return path;
}

FakeDeviceIO::Medium* FakeDeviceIO::Find(const std::string& path) const {
    const auto found = media_.find(path);
    return found == media_.end() ? nullptr : found->second.get();
}

FakeDeviceIO::Medium& FakeDeviceIO::Get(const std::string& path) const {
    Medium* medium = Find(path);
    if (!medium)
        throw std::logic_error("no fake device " + path);
    return *medium;
}

std::vector<uint8_t> FakeDeviceIO::Contents(const std::string& path) const {
    return Get(path).now.bytes;
}

void FakeDeviceIO::SetContents(const std::string& path, std::vector<uint8_t> contents) {
    Medium& medium = Get(path);
    medium.now = {true, std::move(contents)};
    medium.synced = medium.now;
}

bool FakeDeviceIO::Exists(const std::string& path) const {
    return Get(path).now.exists;
}

void FakeDeviceIO::Fail(Call call, int error, uint64_t times, uint64_t skip) {
    failures_[call] = {skip, times, error};
}

void FakeDeviceIO::Shorten(Call call, size_t most) {
    most_[call] = most;
}

void FakeDeviceIO::ClearFailures() {
    failures_.clear();
    most_.clear();
}

void FakeDeviceIO::CutPowerAfter(uint64_t bytes) {
    cutsPower_ = true;
    powerLeft_ = bytes;
    bytesWritten_ = 0;
    hasPower_ = bytes != 0;
}

void FakeDeviceIO::RestorePower(Unsynced unsynced, uint32_t seed) {
    std::mt19937 coin(seed);
    for (const auto& [path, medium] : media_) {
        if (medium->kind != Medium::MTD && unsynced == Unsynced::LOST)
            medium->now = medium->synced;
        if (medium->kind != Medium::MTD && unsynced == Unsynced::SCATTERED)
            medium->Scatter(coin);
        medium->synced = medium->now;
    }
    open_.clear();
    hasPower_ = true;
    cutsPower_ = false;
    bytesWritten_ = 0;
}

uint64_t FakeDeviceIO::Count(Call call) const {
    const auto found = counts_.find(call);
    return found == counts_.end() ? 0 : found->second;
}

/// Counts the call; true, with errno set, when it is to fail.
bool FakeDeviceIO::Refused(Call call) {
    ++counts_[call];
    if (!hasPower_) {
        errno = EIO;
        return true;
    }
    const auto failure = failures_.find(call);
    if (failure == failures_.end())
        return false;
    if (failure->second.skip > 0) {
        --failure->second.skip;
        return false;
    }
    if (failure->second.times == 0)
        return false;
    --failure->second.times;
    errno = failure->second.error;
    return true;
}

/// How many of the bytes can be written before the power goes; cuts it when none is left for more.
size_t FakeDeviceIO::Spend(size_t bytes) {
    if (cutsPower_) {
        bytes = size_t(std::min<uint64_t>(bytes, powerLeft_));
        powerLeft_ -= bytes;
        hasPower_ = powerLeft_ != 0;
    }
    bytesWritten_ += bytes;
    return bytes;
}

int32_t FakeDeviceIO::Open(const std::string& path, int32_t flags, uint32_t mode) {
    if (Refused(Call::OPEN))
        return -1;
    Medium* medium = Find(path);
    if (!medium)
        return System().Open(path, flags, mode);
    if (!medium->now.exists && !(flags & O_CREAT))
        return Refuse(ENOENT);
    const int32_t access = flags & O_ACCMODE;
    if (medium->kind == Medium::TABLE && access != O_RDONLY)
        return Refuse(EACCES);
    medium->now.exists = true;
    if (flags & O_TRUNC)
        medium->now.bytes.clear();
    open_[nextDescriptor_] = {medium, access, 0};
    return nextDescriptor_++;
}

int32_t FakeDeviceIO::Close(int32_t fd) {
    const bool fake = open_.erase(fd) != 0;
    const bool refused = Refused(Call::CLOSE);
    if (!fake) {
        const int32_t result = System().Close(fd);
        return refused ? -1 : result;
    }
    return refused ? -1 : 0;
}

ssize_t FakeDeviceIO::Read(int32_t fd, void* data, size_t length) {
    if (Refused(Call::READ))
        return -1;
    if (most_[Call::READ] != 0)
        length = std::min(length, most_[Call::READ]);
    const auto found = open_.find(fd);
    if (found == open_.end())
        return System().Read(fd, data, length);
    Descriptor& open = found->second;
    if (open.access == O_WRONLY)
        return Refuse(EBADF);
    const std::vector<uint8_t>& bytes = open.medium->now.bytes;
    if (open.position >= bytes.size())
        return 0;
    length = std::min(length, bytes.size() - open.position);
    memcpy(data, bytes.data() + open.position, length);
    open.position += length;
    return ssize_t(length);
}

ssize_t FakeDeviceIO::Write(int32_t fd, const void* data, size_t length) {
    if (Refused(Call::WRITE))
        return -1;
    if (most_[Call::WRITE] != 0)
        length = std::min(length, most_[Call::WRITE]);
    const auto found = open_.find(fd);
    if (found == open_.end())
        return System().Write(fd, data, length);
    Descriptor& open = found->second;
    if (open.access == O_RDONLY)
        return Refuse(EBADF);
    std::vector<uint8_t>& bytes = open.medium->now.bytes;
    const bool grows = open.medium->kind == Medium::FILE;
    if (!grows && open.position >= bytes.size())
        return Refuse(open.medium->kind == Medium::MTD ? ENOSPC : EFBIG);
    if (!grows)
        length = std::min(length, bytes.size() - open.position);

    const size_t written = Spend(length);
    if (open.position + written > bytes.size())
        bytes.resize(open.position + written);
    const uint8_t* from = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < written; ++i) {
        uint8_t& cell = bytes[open.position + i];
        cell = open.medium->kind == Medium::MTD ? cell & from[i] : from[i];
    }
    open.position += written;
    return written == length ? ssize_t(written) : Refuse(EIO);
}

int64_t FakeDeviceIO::Seek(int32_t fd, int64_t offset, int32_t whence) {
    if (Refused(Call::SEEK))
        return -1;
    const auto found = open_.find(fd);
    if (found == open_.end())
        return System().Seek(fd, offset, whence);
    Descriptor& open = found->second;
    const int64_t size = int64_t(open.medium->now.bytes.size());
    const int64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? int64_t(open.position) : size;
    if (base + offset < 0 || (open.medium->kind == Medium::MTD && base + offset > size))
        return Refuse(EINVAL);
    open.position = size_t(base + offset);
    return base + offset;
}

int32_t FakeDeviceIO::Truncate(int32_t fd, int64_t length) {
    if (Refused(Call::TRUNCATE))
        return -1;
    const auto found = open_.find(fd);
    if (found == open_.end())
        return System().Truncate(fd, length);
    Medium& medium = *found->second.medium;
    if (length < 0 || medium.kind != Medium::FILE || found->second.access == O_RDONLY)
        return Refuse(EINVAL);
    medium.now.bytes.resize(size_t(length));
    return 0;
}

int32_t FakeDeviceIO::Sync(int32_t fd) {
    if (Refused(Call::SYNC))
        return -1;
    const auto found = open_.find(fd);
    if (found == open_.end())
        return System().Sync(fd);
    Medium& medium = *found->second.medium;
    if (medium.kind == Medium::MTD || medium.kind == Medium::TABLE)
        return Refuse(EINVAL);
    medium.synced = medium.now;
    return 0;
}

int32_t FakeDeviceIO::IOCtl(int32_t fd, unsigned long request, void* argument) {
    if (Refused(Call::IOCTL))
        return -1;
    const auto found = open_.find(fd);
    if (found == open_.end())
        return System().IOCtl(fd, request, argument);
    if (found->second.medium->kind != Medium::MTD || request != MEMERASE)
        return Refuse(ENOTTY);
    return Erase(found->second, argument);
}

int32_t FakeDeviceIO::Erase(Descriptor& open, const void* argument) {
    erase_info_user range;
    memcpy(&range, argument, sizeof range);
    const size_t size = open.medium->now.bytes.size();
    if (open.access == O_RDONLY)
        return Refuse(EPERM);
    if (range.length == 0 || range.start % open.medium->eraseSize != 0 ||
        range.length % open.medium->eraseSize != 0 || range.start > size || range.length > size - range.start)
        return Refuse(EINVAL);
    const size_t erased = Spend(range.length);
    memset(open.medium->now.bytes.data() + range.start, 0xFF, erased);
    return erased == range.length ? 0 : Refuse(EIO);
}

int64_t FakeDeviceIO::FileSize(const std::string& path) {
    if (Refused(Call::SIZE))
        return -1;
    const Medium* medium = Find(path);
    if (!medium)
        return System().FileSize(path);
    if (!medium->now.exists)
        return Refuse(ENOENT);
    // Character devices and the files of /proc have no size.
    const bool sized = medium->kind == Medium::FILE || medium->kind == Medium::EEPROM;
    return sized ? int64_t(medium->now.bytes.size()) : 0;
}

void* FakeDeviceIO::Map(size_t length, int32_t protection, int32_t flags, int32_t fd, int64_t offset) {
    if (Refused(Call::MAP))
        return MAP_FAILED;
    if (open_.count(fd) == 0)
        return System().Map(length, protection, flags, fd, offset);
    errno = ENODEV;
    return MAP_FAILED;
}

int32_t FakeDeviceIO::Unmap(void* address, size_t length) {
    return Refused(Call::UNMAP) ? -1 : System().Unmap(address, length);
}

uint32_t FakeDeviceIO::Read32(const volatile uint32_t* word) {
    return System().Read32(word);
}

void FakeDeviceIO::Write32(volatile uint32_t* word, uint32_t value) {
    System().Write32(word, value);
}

}  // namespace quarn::test
