#pragma once

#include <quarn/DeviceIO.h>
#include <quarn/IncomingMessage.h>

#include <stddef.h>
#include <stdint.h>

#include <list>
#include <map>
#include <string>
#include <vector>

namespace quarn {

/// One device that holds saved blocks, for PersistentStorage.
///
/// Only the constructor throws; failures of the device are printed with mask ERR. Opens the device for each
/// operation and keeps it open for none. For one thread at a time.
class PersistentDevice {
public:
    enum class Type : uint8_t { MTD = 0, EEPROM = 1, File = 2 };

    /// Takes the name of a flash partition, or the path of anything else. `io` must outlive the device.
    /// Throws MonitorException "Could not find MTD device \"%s\"", "MTD device \"%s\" (%s) erase block size
    /// is not %zu bytes", "Could not find EEPROM device \"%s\"" or "Unknown PersistentDevice type (%u)".
    PersistentDevice(Type type, const std::string& nameOrPath, uint64_t blockSize, DeviceIO& io);

    uint64_t GetBlockCount() const { return blockCount_; }

    /// Finds out which stamp each block has and which block is the newest valid one.
    void ScanBlocks();

    /// Reads and checks a whole block. Returns its stamp, or 0 when it is not fully valid. Fills what is not
    /// null: the messages, emptied first once the checksums are right, and, only on success, the data
    /// version. A block whose messages are not all good leaves those before the bad one in the list. Never
    /// throws.
    uint64_t ReadBlock(uint64_t block, std::list<IncomingMessage>* messages, uint32_t* dataVersion) noexcept;

    /// The newest valid stamp of the last scan, 0 for none. When there is something to fill, the block is
    /// read again, and the result is 0 when that does not give the same stamp.
    uint64_t NewestStamp(std::list<IncomingMessage>* messages, uint32_t* dataVersion) noexcept;

    /// Writes the block over the first invalid one or else the oldest, and waits until it is on the medium.
    /// Returns whether all of that succeeded; if not, the same place is written next time.
    bool WriteBlock(uint64_t stamp, const std::vector<uint8_t>& block);

    /// Makes every block invalid. Returns the number of blocks cleared.
    uint64_t Wipe();

private:
    class File;

    void FindPartition(const std::string& name);
    void FindEEPROM();
    void ScanBlock(File& file, uint64_t block);
    void FindNewest(File& file);
    // As ReadBlock(), from the file if one is open already.
    uint64_t ReadLogged(uint64_t block, File* file, std::list<IncomingMessage>* messages,
                        uint32_t* dataVersion) noexcept;
    void CheckBlockNumber(uint64_t block) const;
    uint64_t ReadChecked(File& file, uint64_t block, std::list<IncomingMessage>* messages,
                         uint32_t* dataVersion);
    void WriteTo(uint64_t target, const std::vector<uint8_t>& block);

    const Type type_;
    std::string path_;
    const uint64_t blockSize_;
    DeviceIO& io_;
    uint64_t blockCount_ = 1;
    /// The block with each stamp, equal stamps in order of insertion; 0 for those that are not valid.
    std::multimap<uint64_t, uint64_t> blocksByStamp_;
    uint64_t newestStamp_ = 0;
    uint64_t newestBlock_ = 0;
};

}  // namespace quarn
