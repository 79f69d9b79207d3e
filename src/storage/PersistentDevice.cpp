#include "storage/PersistentDevice.h"

#include <quarn/Debug.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include "foundation/DeviceFile.h"
#include "foundation/ErrnoText.h"
#include "storage/MTDUtilities.h"
#include "storage/StorageBlock.h"

#include <errno.h>
#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <memory>

namespace quarn {

namespace {

// Memory for a payload of a block of at most this size is taken without asking the device for its size.
constexpr uint64_t kUsualBlock = 65536;

/// Prints a line. What cannot be formed for want of memory is not worth a second failure.
QUARN_PRINTF(2, 3) void Log(int line, const char* format, ...) noexcept {
    if (!DefaultDebug() || !DefaultDebug()->IsRelevant(DEBUG_ERR))
        return;
    va_list arguments;
    va_start(arguments, format);
    try {
        DefaultDebug()->Printf(DEBUG_ERR, __FILE__, line, "%s", FormatV(format, arguments).c_str());
    } catch (...) {
    }
    va_end(arguments);
}

/// Why fewer bytes moved than were to: the system's text, or how many did when there was no error.
std::string WhyShort(ssize_t moved, size_t wanted) {
    return moved < 0 ? ErrnoText(errno) : Format("only %zd of %zu bytes", moved, wanted);
}

/// Passes each message of a payload on; NOP bytes may stand between them.
template <class Take>
void WalkMessages(const uint8_t* payload, size_t length, Take take) {
    IncomingMessage message;
    size_t offset = 0;
    while (offset < length) {
        if (payload[offset] == IncomingMessage::GetNOP()) {
            ++offset;
            continue;
        }
        size_t taken;
        try {
            taken = message.Populate(payload + offset, length - offset);
        } catch (const MonitorException& e) {
            throw MonitorException("corrupt message at offset %zu: %s", offset, e.Description().c_str());
        }
        if (taken == 0)
            throw MonitorException("incomplete message at offset %zu", offset);
        take(message);
        offset += taken;
    }
    if (offset != length)
        throw MonitorException("payload length mismatch");
}

}  // namespace

/// The device while it is open.
class PersistentDevice::File {
public:
    File(PersistentDevice& device, int32_t flags)
        : io_(device.io_), file_(io_, io_.Open(device.path_, flags, 0600)) {}

    bool IsOpen() const { return file_.Get() >= 0; }
    bool SeekTo(uint64_t offset) { return io_.Seek(file_.Get(), int64_t(offset), SEEK_SET) >= 0; }

    /// Reads until all is there or no more comes. Returns what arrived, -1 with errno when nothing did for an
    /// error.
    ssize_t Read(uint8_t* data, size_t length) {
        size_t arrived = 0;
        while (arrived < length) {
            const ssize_t more = io_.Read(file_.Get(), data + arrived, length - arrived);
            if (more < 0 && errno == EINTR)
                continue;
            if (more < 0)
                return -1;
            if (more == 0)
                break;
            arrived += size_t(more);
        }
        return ssize_t(arrived);
    }

    /// How many bytes there are from `offset` on, -1 on failure. Leaves the position there.
    int64_t Remaining(uint64_t offset) {
        const int64_t end = io_.Seek(file_.Get(), 0, SEEK_END);
        return end < 0 || !SeekTo(offset) ? -1 : std::max<int64_t>(0, end - int64_t(offset));
    }

    ssize_t Write(const uint8_t* data, size_t length) { return io_.Write(file_.Get(), data, length); }

    bool Erase(uint64_t start, uint64_t length) {
        erase_info_user range;
        range.start = uint32_t(start);
        range.length = uint32_t(length);
        // The request has 32 bits for each; what they cannot express would erase another block.
        if (range.start != start || range.length != length) {
            errno = EOVERFLOW;
            return false;
        }
        return io_.IOCtl(file_.Get(), MEMERASE, &range) == 0;
    }

    /// EINVAL says that there is nothing to sync, since writes go to the medium directly.
    bool Sync() { return io_.Sync(file_.Get()) == 0 || errno == EINVAL; }

private:
    DeviceIO& io_;
    const DeviceFile file_;
};

PersistentDevice::PersistentDevice(Type type, const std::string& nameOrPath, uint64_t blockSize, DeviceIO& io)
    : type_(type), path_(nameOrPath), blockSize_(blockSize), io_(io) {
    switch (type) {
        case Type::MTD:
            FindPartition(nameOrPath);
            break;
        case Type::EEPROM:
            FindEEPROM();
            break;
        case Type::File:
            break;
        default:
            throw MonitorException("Unknown PersistentDevice type (%u)", unsigned(type));
    }
}

void PersistentDevice::FindPartition(const std::string& name) {
    uint64_t size = 0;
    uint64_t eraseBlockSize = 0;
    path_ = MTDUtilities::MTDNameToCharDevicePath(name, &size, &eraseBlockSize, io_);
    if (path_.empty())
        throw MonitorException("Could not find MTD device \"%s\"", name.c_str());
    if (eraseBlockSize != blockSize_)
        throw MonitorException("MTD device \"%s\" (%s) erase block size is not %zu bytes", name.c_str(),
                               path_.c_str(), blockSize_);
    blockCount_ = blockSize_ == 0 ? 0 : size / blockSize_;
    Log(__LINE__, "%s: using %zu blocks for persistent data", path_.c_str(), blockCount_);
}

void PersistentDevice::FindEEPROM() {
    const int64_t size = io_.FileSize(path_);
    if (size < 0)
        throw MonitorException("Could not find EEPROM device \"%s\"", path_.c_str());
    blockCount_ = blockSize_ == 0 ? 0 : uint64_t(size) / blockSize_;
    Log(__LINE__, "%s: using %zu blocks for persistent data", path_.c_str(), blockCount_);
}

void PersistentDevice::ScanBlocks() {
    blocksByStamp_.clear();
    newestStamp_ = 0;
    newestBlock_ = 0;
    File file(*this, O_RDONLY);
    if (!file.IsOpen())
        return Log(__LINE__, "Could not open %s for scanning: %s", path_.c_str(), ErrnoText(errno).c_str());
    for (uint64_t block = 0; block < blockCount_; ++block)
        ScanBlock(file, block);
    if (blocksByStamp_.empty())
        Log(__LINE__, "%s: no blocks", path_.c_str());
    else
        Log(__LINE__, "%s: %zu blocks; stamps range from 0x%lx to 0x%lx", path_.c_str(),
            blocksByStamp_.size(), blocksByStamp_.begin()->first, blocksByStamp_.rbegin()->first);
    FindNewest(file);
}

void PersistentDevice::ScanBlock(File& file, uint64_t block) {
    if (!file.SeekTo(block * blockSize_))
        return Log(__LINE__, "%s: failed to seek to block %zu: %s", path_.c_str(), block,
                   ErrnoText(errno).c_str());
    BlockHeader header;
    const ssize_t arrived = file.Read(header.Bytes(), BlockHeader::kBytes);
    if (arrived != ssize_t{BlockHeader::kBytes})
        return Log(__LINE__, "%s: failed to read header from block %zu: %s", path_.c_str(), block,
                   WhyShort(arrived, BlockHeader::kBytes).c_str());
    blocksByStamp_.emplace(header.IsValid() ? header.Stamp() : 0, block);
}

void PersistentDevice::FindNewest(File& file) {
    while (!blocksByStamp_.empty() && blocksByStamp_.rbegin()->first != 0) {
        const auto last = std::prev(blocksByStamp_.end());
        const auto [stamp, block] = *last;
        if (ReadLogged(block, &file, nullptr, nullptr) == stamp) {
            newestStamp_ = stamp;
            newestBlock_ = block;
            Log(__LINE__, "%s: newest valid data are in block %zu, with stamp 0x%lx", path_.c_str(), block,
                stamp);
            return;
        }
        Log(__LINE__, "%s: block %zu with stamp 0x%lx is not valid", path_.c_str(), block, stamp);
        // The next save is to overwrite this block, not a good one. Blocks with stamp 0 are in ascending
        // order.
        blocksByStamp_.erase(last);
        const auto behind = std::find_if(
            blocksByStamp_.begin(), blocksByStamp_.end(),
            [block = block](const auto& entry) { return entry.first != 0 || entry.second > block; });
        blocksByStamp_.emplace_hint(behind, 0, block);
    }
    Log(__LINE__, "%s: no valid data", path_.c_str());
}

uint64_t PersistentDevice::ReadBlock(uint64_t block, std::list<IncomingMessage>* messages,
                                     uint32_t* dataVersion) noexcept {
    return ReadLogged(block, nullptr, messages, dataVersion);
}

uint64_t PersistentDevice::ReadLogged(uint64_t block, File* file, std::list<IncomingMessage>* messages,
                                      uint32_t* dataVersion) noexcept {
    try {
        CheckBlockNumber(block);
        if (file)
            return ReadChecked(*file, block, messages, dataVersion);
        File own(*this, O_RDONLY);
        if (!own.IsOpen())
            throw MonitorException("open failed: %s", ErrnoText(errno).c_str());
        return ReadChecked(own, block, messages, dataVersion);
    } catch (const MonitorException& e) {
        Log(__LINE__, "%s: in block %zu: %s", path_.c_str(), block, e.Description().c_str());
    } catch (const std::exception& e) {
        Log(__LINE__, "%s: in block %zu: %s", path_.c_str(), block, e.what());
    } catch (...) {
        // Texts that cannot be formed are thrown so.
        Log(__LINE__, "%s: in block %zu: out of memory", path_.c_str(), block);
    }
    return 0;
}

void PersistentDevice::CheckBlockNumber(uint64_t block) const {
    // First, because an unblocked file has one block and the range would speak for it.
    if (blockSize_ == 0 && block != 0)
        throw MonitorException("reading block from unblocked file");
    if (block >= blockCount_)
        throw MonitorException("block %zu out of range", block);
}

uint64_t PersistentDevice::ReadChecked(File& file, uint64_t block, std::list<IncomingMessage>* messages,
                                       uint32_t* dataVersion) {
    if (!file.SeekTo(block * blockSize_))
        throw MonitorException("seek failed: %s", ErrnoText(errno).c_str());
    const auto read = [&file](const char* what, uint8_t* data, size_t length) {
        const ssize_t arrived = file.Read(data, length);
        if (arrived != ssize_t(length))
            throw MonitorException("%s read failed: %s", what, WhyShort(arrived, length).c_str());
    };

    BlockHeader header;
    read("header", header.Bytes(), BlockHeader::kBytes);
    if (header.Magic() != kBlockHeaderMagic)
        throw MonitorException("bad header magic number");
    // The header's own checksum is deliberately left to the scan; the overall one covers the header too.

    const size_t length = header.PayloadLength();
    // Does the device hold it? Before memory is taken.
    if (length > std::min<uint64_t>(blockSize_, kUsualBlock)) {
        const int64_t remaining = file.Remaining(block * blockSize_ + BlockHeader::kBytes);
        if (remaining < int64_t(length))
            throw MonitorException("payload read failed: %s", WhyShort(remaining, length).c_str());
    }
    const auto payload = std::make_unique_for_overwrite<uint8_t[]>(length);
    read("payload", payload.get(), length);

    BlockTrailer trailer;
    read("trailer", trailer.Bytes(), BlockTrailer::kBytes);
    if (trailer.Magic() != kBlockTrailerMagic)
        throw MonitorException("bad trailer magic number");
    if (trailer.Checksum() != BlockChecksum(header.Bytes(), payload.get(), length))
        throw MonitorException("bad overall checksum");

    if (messages)
        messages->clear();
    WalkMessages(payload.get(), length, [messages](IncomingMessage& message) {
        if (messages)
            messages->push_back(std::move(message));
    });
    if (dataVersion)
        *dataVersion = header.DataVersion();
    return header.Stamp();
}

uint64_t PersistentDevice::NewestStamp(std::list<IncomingMessage>* messages, uint32_t* dataVersion) noexcept {
    if (newestStamp_ == 0 || (!messages && !dataVersion))
        return newestStamp_;
    return ReadBlock(newestBlock_, messages, dataVersion) == newestStamp_ ? newestStamp_ : 0;
}

bool PersistentDevice::WriteBlock(uint64_t stamp, const std::vector<uint8_t>& block) {
    uint64_t target = 0;
    if (blockSize_ != 0) {
        if (blocksByStamp_.empty())
            ScanBlocks();
        if (blocksByStamp_.empty()) {
            Log(__LINE__, "%s: cannot write data; no scanned blocks", path_.c_str());
            return false;
        }
        target = blocksByStamp_.begin()->second;
    }
    try {
        WriteTo(target, block);
    } catch (const MonitorException& e) {
        Log(__LINE__, "%s: %s", path_.c_str(), e.Description().c_str());
        return false;
    }
    if (blockSize_ != 0) {
        blocksByStamp_.erase(blocksByStamp_.begin());
        blocksByStamp_.emplace(stamp, target);
    }
    Log(__LINE__, "%s: wrote block %zu with stamp 0x%lx", path_.c_str(), target, stamp);
    return true;
}

void PersistentDevice::WriteTo(uint64_t target, const std::vector<uint8_t>& block) {
    File file(*this, O_RDWR | (type_ == Type::File ? O_CREAT : 0));
    if (!file.IsOpen())
        throw MonitorException("could not open for writing: %s", ErrnoText(errno).c_str());
    const auto fail = [target](const char* what, const std::string& why) {
        throw MonitorException("could not %s block %zu: %s", what, target, why.c_str());
    };
    const uint64_t offset = target * blockSize_;
    if (type_ == Type::MTD && !file.Erase(offset, blockSize_))
        fail("erase", ErrnoText(errno));
    if (!file.SeekTo(offset))
        fail("seek to", ErrnoText(errno));
    // In one call: some devices program a page a call. The block is deliberately not compared with the block
    // size.
    const ssize_t written = file.Write(block.data(), block.size());
    if (written != ssize_t(block.size()))
        fail("write", WhyShort(written, block.size()));
    if (type_ != Type::MTD && !file.Sync())  // writing to flash leaves nothing to sync
        fail("sync", ErrnoText(errno));
}

uint64_t PersistentDevice::Wipe() {
    File file(*this, O_RDWR);
    if (!file.IsOpen()) {
        Log(__LINE__, "%s: could not open for writing: %s", path_.c_str(), ErrnoText(errno).c_str());
        return 0;
    }
    uint64_t cleared = 0;
    for (uint64_t block = 0; block < blockCount_; ++block) {
        // Flash is not erased for this: zeros can be written over anything.
        constexpr uint8_t kNoMagic[4] = {};
        if (!file.SeekTo(block * blockSize_)) {
            Log(__LINE__, "%s: failed to seek to block %zu: %s", path_.c_str(), block,
                ErrnoText(errno).c_str());
            continue;
        }
        const ssize_t written = file.Write(kNoMagic, sizeof kNoMagic);
        if (written == ssize_t{sizeof kNoMagic})
            ++cleared;
        else
            Log(__LINE__, "%s: could not clear block %zu: %s", path_.c_str(), block,
                WhyShort(written, sizeof kNoMagic).c_str());
    }
    if (type_ != Type::MTD && cleared != 0 && !file.Sync())
        Log(__LINE__, "%s: could not sync cleared blocks: %s", path_.c_str(), ErrnoText(errno).c_str());
    return cleared;
}

}  // namespace quarn
