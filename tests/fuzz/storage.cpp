// A storage device's contents: byte 0 is the kind of device, byte 1 the size of its blocks, bit 0 of byte 2 repairs
// checksums.

#include <quarn/OutgoingMessage.h>
#include <quarn/sim/SimulatedBoard.h>

#include "fuzz/RepairMessages.h"
#include "storage/PersistentDevice.h"
#include "storage/StorageBlock.h"
#include "storage/StorageFixture.h"

#include <string.h>

namespace quarn::test {
namespace {

using Kind = PersistentDevice::Type;

const std::string kName = "/fuzz";

/// Gives the block good checksums when it has a header and room for what that announces.
void RepairBlock(uint8_t* start, size_t size) {
    if (size < BlockHeader::kBytes + BlockTrailer::kBytes)
        return;
    BlockHeader header;
    memcpy(header.Bytes(), start, BlockHeader::kBytes);
    const size_t length = header.PayloadLength();
    if (header.Magic() != kBlockHeaderMagic || length > size - BlockHeader::kBytes - BlockTrailer::kBytes)
        return;
    const auto store = [](uint8_t* to, uint32_t value) { memcpy(to, &value, 4); };  // both are little-endian
    store(start + 20, 0);
    store(start + 20, CRC32::Compute(0, start, BlockHeader::kBytes));
    uint8_t* const payload = start + BlockHeader::kBytes;
    RepairMessages(payload, payload + length);
    store(payload + length, BlockChecksum(start, payload, length));
    store(payload + length + 4, kBlockTrailerMagic);
}

/// The size of the block that a save of these writes.
size_t BlockSize(const Settings& settings) {
    BlockBuilder builder;
    for (const OutgoingMessage& message : settings.index.CreateOutgoingMessages(0))
        builder.Append(message.Sync(), message.Bytes());
    return builder.Finish(1, 1).size();
}

/// Makes a device of this kind with these contents, and adds it to the storage.
void AddDevice(Kind kind, uint64_t blockSize, Bytes image, sim::SimulatedBoard& io,
               PersistentStorage& storage) {
    if (kind == Kind::MTD) {
        image.resize((image.size() / blockSize + 1) * blockSize, 0xFF);
        io.AddMTD(kName, image.size(), blockSize);
        io.SetContents("/dev/mtd0", image);
        storage.AddMTD(kName);
    } else if (kind == Kind::EEPROM) {
        io.AddEEPROMFile(kName, 1);
        io.SetContents(kName, image);
        storage.AddEEPROM(kName);
    } else {
        io.AddFile(kName);
        io.SetContents(kName, image);
        storage.AddFile(kName);
    }
}

}  // namespace

void CheckInput(Input& input) {
    const auto kind = Kind(input.Byte() % 3);
    const uint8_t sizeCode = input.Byte() % 8;
    const uint64_t blockSize = sizeCode == 0 && kind != Kind::MTD ? 0 : uint64_t{32} << sizeCode;
    const bool repair = input.Byte() & 1;
    Bytes image = input.Rest();
    const size_t size = image.size();
    for (size_t at = 0; repair && at < size; at += blockSize ? blockSize : size)
        RepairBlock(&image[at], size - at);
    sim::SimulatedBoard io;
    PersistentStorage storage("fuzz", blockSize, 1, io);
    AddDevice(kind, blockSize, image, io, storage);

    PersistentDevice device(kind, kName, blockSize, io);
    device.ScanBlocks();
    uint64_t newest = 0;
    for (uint64_t block = 0; block < device.GetBlockCount(); ++block)
        newest = std::max(newest, device.ReadBlock(block, nullptr, nullptr));
    std::list<IncomingMessage> messages;
    Require(device.NewestStamp(nullptr, nullptr) == newest, "the scan found another block");
    Require(device.NewestStamp(&messages, nullptr) == newest, "the newest block cannot be read again");
    Settings settings, saved, wiped;
    Require(storage.Load(settings.index, 0) == (newest != 0), "found something else than the scan");

    // A file has a block once it has a header. After the last stamp comes 0, which is none; it takes 2^64 saves.
    const bool hasBlock = kind == Kind::File ? size >= BlockHeader::kBytes : device.GetBlockCount() != 0;
    if (newest != UINT64_MAX &&
        (blockSize == 0 ? kind == Kind::File : hasBlock && BlockSize(settings) <= blockSize)) {
        storage.Save(settings.index, 0);
        Require(storage.Load(saved.index, 0) && saved.index.CreateOutgoingMessages(settings.index, 0).empty(),
                "what was saved is not what is loaded");
    }
    storage.Wipe();
    Require(!storage.Load(wiped.index, 0), "something is left after wiping");
    Require(io.Held() == 0, "the device was left open");
}

}  // namespace quarn::test
