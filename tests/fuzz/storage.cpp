// A storage device's contents: byte 0 is the kind of device, byte 1 the size of its blocks, bit 0 of byte 2 repairs
// checksums.

#include <quarn/OutgoingMessage.h>
#include <quarn/PersistentStorage.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariableIndex.h>
#include <quarn/sim/SimulatedBoard.h>

#include "fuzz/RepairMessages.h"
#include "storage/PersistentDevice.h"
#include "storage/StorageBlock.h"
#include "values/VariantTypes.h"

#include <string.h>

namespace quarn::test {
namespace {

using Kind = PersistentDevice::Type;

constexpr uint32_t kFirstTag = 0x00010001;
const std::string kPath = "/fuzz";

void StoreLittleEndian(uint8_t* data, size_t width, uint64_t value) {
    for (size_t i = 0; i < width; ++i)
        data[i] = uint8_t(value >> 8 * i);
}

/// Gives the block at `at` good checksums when it has a header and room for what that announces.
void RepairBlock(Bytes& image, size_t at) {
    if (image.size() - at < BlockHeader::kBytes + BlockTrailer::kBytes)
        return;
    uint8_t* const start = image.data() + at;
    BlockHeader header;
    const auto load = [&] { memcpy(header.Bytes(), start, BlockHeader::kBytes); };
    load();
    const size_t length = header.PayloadLength();
    if (header.Magic() != kBlockHeaderMagic ||
        length > image.size() - at - BlockHeader::kBytes - BlockTrailer::kBytes)
        return;
    StoreLittleEndian(start + 20, 4, 0);
    StoreLittleEndian(start + 20, 4, CRC32::Compute(0, start, BlockHeader::kBytes));
    const size_t payload = at + BlockHeader::kBytes;
    RepairMessages(image, payload, payload + length);
    StoreLittleEndian(image.data() + payload + length, 4,
                      BlockChecksum(start, image.data() + payload, length));
    StoreLittleEndian(image.data() + payload + length + 4, 4, kBlockTrailerMagic);
}

/// One device, and storages over it.
struct Medium {
    Medium(Kind deviceKind, uint64_t bytesPerBlock, Bytes image)
        : kind(deviceKind), blockSize(bytesPerBlock) {
        if (kind == Kind::MTD) {
            image.resize((image.size() / blockSize + 1) * blockSize, 0xFF);
            io.AddMTD(kPath, image.size(), blockSize);
            path = "/dev/mtd0";
        } else if (kind == Kind::EEPROM) {
            io.AddEEPROMFile(path, 1);
        } else {
            io.AddFile(path);
        }
        io.SetContents(path, std::move(image));
    }

    void AddTo(PersistentStorage& storage) const {
        if (kind == Kind::MTD)
            storage.AddMTD(kPath);
        else if (kind == Kind::EEPROM)
            storage.AddEEPROM(path);
        else
            storage.AddFile(path);
    }
    bool Load(VariableIndex& index) {
        PersistentStorage storage("fuzz", blockSize, 1, io);
        AddTo(storage);
        return storage.Load(index, 0);
    }

    const Kind kind;
    const uint64_t blockSize;
    sim::SimulatedBoard io;
    std::string path = kPath;
};

struct Variables {
    Variables() {
        Add(&byte);
        Add(&number);
        Add(&text);
        Add(&bytes);
        Add(&texts);
        Add(&flag);
        Add(&numbers);
    }

    template <class T>
    void Add(T* variable) {
        const uint32_t tag = index.LastTag() == 0 ? kFirstTag : index.LastTag() + 1;
        dictionary.Add(tag, std::to_string(tag), kTypeOf<T>);
        index.Add(tag, variable, 1);
    }
    size_t BlockSize() const {
        size_t size = BlockHeader::kBytes + BlockTrailer::kBytes;
        for (const OutgoingMessage& message : index.CreateOutgoingMessages(0))
            size += message.Bytes();
        return (size + 3) / 4 * 4;
    }
    bool operator==(const Variables& other) const {
        return index.CreateOutgoingMessages(other.index, 0).empty();
    }

    uint8_t byte = 1;
    uint16_t number = 2;
    std::string text;
    Bytes bytes;
    std::vector<std::string> texts;
    bool flag = true;
    std::vector<uint32_t> numbers;
    VariableDictionary dictionary{"fuzz"};
    VariableIndex index{"fuzz", dictionary};
};

/// Scans the device and compares with the blocks taken one by one. Returns the newest stamp.
uint64_t CheckBlocks(Medium& medium) {
    PersistentDevice device(medium.kind, medium.kind == Kind::MTD ? kPath : medium.path, medium.blockSize,
                            medium.io);
    device.ScanBlocks();
    const Bytes image = medium.io.Contents(medium.path);
    uint64_t newest = 0;
    for (uint64_t block = 0; block < device.GetBlockCount(); ++block) {
        std::list<IncomingMessage> messages;
        const uint64_t stamp = device.ReadBlock(block, &messages, nullptr);
        size_t length = 0;
        for (const IncomingMessage& message : messages)
            length += message.GetTotalBytes();
        Require(length <= image.size(), "more messages than bytes");
        BlockHeader header;
        const size_t at = std::min<size_t>(block * medium.blockSize, image.size());
        std::copy_n(image.begin() + ptrdiff_t(at), std::min(BlockHeader::kBytes, image.size() - at),
                    header.Bytes());
        if (stamp != 0)
            Require(header.Stamp() == stamp, "a stamp that is not in the header");
        if (header.IsValid())
            newest = std::max(newest, stamp);
    }
    Require(device.ReadBlock(device.GetBlockCount(), nullptr, nullptr) == 0, "a block beyond the last");
    Require(device.NewestStamp(nullptr, nullptr) == newest, "the scan found another block");
    std::list<IncomingMessage> messages;
    Require(device.NewestStamp(&messages, nullptr) == newest, "the newest block cannot be read again");
    return newest;
}

void CheckSaving(Medium& medium, const Variables& variables) {
    PersistentStorage storage("fuzz", medium.blockSize, 1, medium.io);
    medium.AddTo(storage);
    storage.Save(variables.index, 0);
    Variables loaded;
    Require(medium.Load(loaded.index), "what was saved is not found");
    Require(loaded == variables, "what was saved is not what is loaded");
}

}  // namespace
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn;
    using namespace quarn::test;
    Input input(data, size);
    const auto kind = Kind(input.Byte() % 3);
    const uint8_t sizeCode = input.Byte() % 8;
    const uint64_t blockSize = sizeCode == 0 && kind != Kind::MTD ? 0 : uint64_t{32} << sizeCode;
    const bool repair = input.Byte() & 1;
    Bytes image = input.Rest();
    if (repair)
        for (size_t at = 0; at < image.size(); at += blockSize ? blockSize : image.size())
            RepairBlock(image, at);
    const size_t imageSize = image.size();
    Medium medium(kind, blockSize, std::move(image));

    const uint64_t newest = CheckBlocks(medium);
    Variables variables, again;
    Require(medium.Load(variables.index) == (newest != 0), "found something else than the scan");
    Require(medium.Load(again.index) == (newest != 0) && again == variables,
            "loaded something else the second time");

    // After the last stamp comes 0, which is none; it takes 2^64 saves to get there.
    const bool hasRoom = kind == Kind::File     ? blockSize == 0 || imageSize >= BlockHeader::kBytes
                         : kind == Kind::EEPROM ? blockSize != 0 && imageSize >= blockSize
                                                : true;
    if (hasRoom && newest != UINT64_MAX && (blockSize == 0 || variables.BlockSize() <= blockSize))
        CheckSaving(medium, variables);

    PersistentStorage storage("fuzz", blockSize, 1, medium.io);
    medium.AddTo(storage);
    storage.Wipe();
    Require(!medium.Load(again.index), "something is left after wiping");
    Require(medium.io.Held() == 0, "the device was left open");
    return 0;
}
