#pragma once

#include <quarn/DeviceIO.h>

#include <stdint.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace quarn::test {

enum class Call { OPEN, CLOSE, READ, WRITE, SEEK, TRUNCATE, SYNC, IOCTL, SIZE, MAP, UNMAP };

/// What is left of bytes that were written but not synced when the power went.
enum class Unsynced {
    LOST,      ///< nothing: they were in a cache
    KEPT,      ///< everything up to the cut: there is no cache
    SCATTERED  ///< of each run of 16 bytes, at random, all or nothing
};

/// Devices in memory under paths of their own; every other path and descriptor is the system's.
///
/// The devices are as strict as real ones: see the test of this class. Not for several threads.
class FakeDeviceIO : public DeviceIO {
public:
    FakeDeviceIO();
    ~FakeDeviceIO() override;

    /// A file that does not exist until it is created through this interface.
    void AddAbsentFile(const std::string& path);
    /// A file, which writes can extend.
    void AddFile(const std::string& path, std::vector<uint8_t> contents);
    /// A device of fixed size, filled with 0xFF.
    void AddEEPROM(const std::string& path, size_t size);
    /// An erased flash partition: writing only clears bits, MEMERASE sets them block by block, and both take
    /// effect as they are made. It is listed in /proc/mtd, which is a fake file from then on. Returns its
    /// path, /dev/mtdN, N counting from 0.
    std::string AddMTD(const std::string& name, size_t size, size_t eraseSize);

    /// The device's present contents, to look at and to damage (which counts as synced).
    std::vector<uint8_t> Contents(const std::string& path) const;
    void SetContents(const std::string& path, std::vector<uint8_t> contents);
    bool Exists(const std::string& path) const;

    /// Makes `times` calls fail with `error`, after letting `skip` of them pass. Counts all devices' calls,
    /// the system's included.
    void Fail(Call call, int error, uint64_t times = 1, uint64_t skip = 0);
    /// Makes every following read or write move at most so many bytes; 0 ends that.
    void Shorten(Call call, size_t most);
    void ClearFailures();

    /// Cuts the power right after so many more bytes were written or erased, on all devices together: the
    /// rest of that write, and every call after it, fails with EIO.
    void CutPowerAfter(uint64_t bytes);
    bool HasPower() const { return hasPower_; }
    /// Bytes written or erased since the last CutPowerAfter() or RestorePower().
    uint64_t BytesWritten() const { return bytesWritten_; }
    /// Puts the power back; what was not synced before is dealt with as told. All descriptors are gone.
    void RestorePower(Unsynced unsynced, uint32_t seed = 0);

    /// How many calls were made, failed ones included, and how many descriptors of fake devices are open.
    uint64_t Count(Call call) const;
    size_t OpenDescriptors() const { return open_.size(); }

    int32_t Open(const std::string& path, int32_t flags, uint32_t mode = 0) override;
    int32_t Close(int32_t fd) override;
    ssize_t Read(int32_t fd, void* data, size_t length) override;
    ssize_t Write(int32_t fd, const void* data, size_t length) override;
    int64_t Seek(int32_t fd, int64_t offset, int32_t whence) override;
    int32_t Truncate(int32_t fd, int64_t length) override;
    int32_t Sync(int32_t fd) override;
    int32_t IOCtl(int32_t fd, unsigned long request, void* argument) override;
    int64_t FileSize(const std::string& path) override;
    void* Map(size_t length, int32_t protection, int32_t flags, int32_t fd, int64_t offset) override;
    int32_t Unmap(void* address, size_t length) override;
    uint32_t Read32(const volatile uint32_t* word) override;
    void Write32(volatile uint32_t* word, uint32_t value) override;

private:
    struct Medium;
    struct Descriptor;
    struct Failure {
        uint64_t skip;
        uint64_t times;
        int error;
    };

    bool Refused(Call call);
    Medium* Find(const std::string& path) const;
    Medium& Get(const std::string& path) const;
    size_t Spend(size_t bytes);
    int32_t Erase(Descriptor& open, const void* argument);

    std::map<std::string, std::unique_ptr<Medium>> media_;
    std::map<int32_t, Descriptor> open_;
    std::map<Call, Failure> failures_;
    std::map<Call, size_t> most_;
    std::map<Call, uint64_t> counts_;
    int32_t nextDescriptor_ = 1 << 20;  // far from the system's
    uint32_t partitions_ = 0;
    bool hasPower_ = true;
    bool cutsPower_ = false;
    uint64_t powerLeft_ = 0;
    uint64_t bytesWritten_ = 0;
};

}  // namespace quarn::test
