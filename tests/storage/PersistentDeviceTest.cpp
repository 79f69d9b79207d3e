#include <quarn/sim/SimulatedBoard.h>

#include "storage/PersistentDevice.h"
#include "storage/StorageBlock.h"
#include "support/AllocationWatch.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <errno.h>

#include <functional>

namespace quarn::test {
namespace {

using sim::Call;
using sim::SimulatedBoard;
using testing::ElementsAre;
using Type = PersistentDevice::Type;

constexpr size_t kBlock = 64;
// A UINT8 variable with tag 5 and value 0x42.
const std::vector<uint8_t> kMessage = {0xA1, 0x07, 0x00, 0x05, 0x42, 0xA9, 0x0F};

std::vector<uint8_t> Block(uint64_t stamp, const std::vector<uint8_t>& payload = kMessage) {
    BlockBuilder builder;
    builder.Append(payload.data(), payload.size());
    return builder.Finish(7, stamp);
}

/// An EEPROM with the given blocks one behind the other, and what is printed about it.
struct EEPROM {
    explicit EEPROM(std::vector<std::vector<uint8_t>> blocks) {
        for (std::vector<uint8_t>& block : blocks) {
            block.resize(kBlock);
            contents.insert(contents.end(), block.begin(), block.end());
        }
        io.AddEEPROMFile("/e", contents.size());
        io.SetContents("/e", contents);
        device = std::make_unique<PersistentDevice>(Type::EEPROM, "/e", kBlock, io);
        capture = std::make_unique<DebugCapture>();
    }
    void Change(size_t offset, const std::vector<uint8_t>& bytes) {
        std::copy(bytes.begin(), bytes.end(), contents.begin() + long(offset));
        io.SetContents("/e", contents);
    }

    std::vector<uint8_t> contents;
    SimulatedBoard io;
    std::unique_ptr<PersistentDevice> device;
    std::unique_ptr<DebugCapture> capture;
};

TEST(PersistentDevice, IsConstructedOrSaysWhyNot) {
    SimulatedBoard io;
    io.AddMTD("hidden", 32, 16);
    io.AddEEPROMFile("/e", 250);
    const std::string table =
        "dev:    size   erasesize  name\n"
        "mtd0: 200000000 100000000 \"huge\"\n"
        "mtd1: 0000041a 00000064 \"persist\"\n"
        "mtd12: 00000800 00000064 \"a \"quoted\" name\"\n"
        "mtd13: 00000800 00000400 \"persist\"";
    io.SetContents("/proc/mtd", {table.begin(), table.end()});
    io.Shorten(Call::READ, 7, UINT64_MAX);
    DebugCapture capture;
    PersistentDevice(Type::MTD, "persist", 100, io);
    PersistentDevice(Type::MTD, "a \"quoted\" name", 100, io);
    PersistentDevice(Type::EEPROM, "/e", 100, io);
    PersistentDevice(Type::EEPROM, "/e", 0, io);
    EXPECT_THAT(capture.Lines(), ElementsAre("/dev/mtd1: using 10 blocks for persistent data",
                                             "/dev/mtd12: using 20 blocks for persistent data",
                                             "/e: using 2 blocks for persistent data",
                                             "/e: using 0 blocks for persistent data"));
    const std::tuple<Type, const char*, const char*> refused[] = {
        {Type::MTD, "persist", "Could not find MTD device \"persist\""},  // which cannot be looked up
        {Type::MTD, "pers", "Could not find MTD device \"pers\""},
        {Type::MTD, "huge", "MTD device \"huge\" (/dev/mtd0) erase block size is not 100 bytes"},
        {Type::EEPROM, "/none", "Could not find EEPROM device \"/none\""},
        {Type(3), "/e", "Unknown PersistentDevice type (3)"},
    };
    io.Fail(Call::OPEN, ENOENT);
    for (const auto& [type, name, thrown] : refused)
        EXPECT_EQ(ThrownMessage([&, t = type, n = name] { PersistentDevice(t, n, 100, io); }), thrown);

    // A request to erase has but 32 bits for the size.
    PersistentDevice huge(Type::MTD, "huge", 0x100000000, io);
    io.SetContents("/dev/mtd0", Block(1));
    EXPECT_FALSE(huge.WriteBlock(2, Block(2)));
    EXPECT_EQ(capture.Lines().back(),
              "/dev/mtd0: could not erase block 0: Value too large for defined data type");
    EXPECT_EQ(io.Count(Call::IOCTL), 0u);
}

TEST(PersistentDevice, KeepsTheFormatOfItsBlocks) {
    const std::vector<uint8_t> block = {0x74, 0x6D, 0x76, 0x1D, 0x07, 0x00, 0x00, 0x00, 0x08, 0x00,
                                        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00,
                                        0xA8, 0xD2, 0xB0, 0x35, 0xA1, 0x07, 0x00, 0x05, 0x42, 0xA9,
                                        0x0F, 0xA0, 0x41, 0xE3, 0x38, 0xD5, 0xD8, 0xCA, 0x93, 0x01};
    EXPECT_EQ(Block(8), block);
}

TEST(PersistentDevice, ScansPastWhatItCannotRead) {
    const auto scanned = [](Call call, uint64_t skip, uint64_t times = 1) {
        EEPROM eeprom({Block(0x1E), Block(0x1F)});
        eeprom.io.Fail(call, EIO, times, skip);
        eeprom.device->ScanBlocks();
        return eeprom.capture->Lines();
    };
    EXPECT_THAT(scanned(Call::SEEK, 0), ElementsAre("/e: failed to seek to block 0: Input/output error",
                                                    "/e: 1 blocks; stamps range from 0x1f to 0x1f",
                                                    "/e: newest valid data are in block 1, with stamp 0x1f"));
    EXPECT_THAT(scanned(Call::READ, 0, 2),
                ElementsAre("/e: failed to read header from block 0: Input/output error",
                            "/e: failed to read header from block 1: Input/output error", "/e: no blocks",
                            "/e: no valid data"));
    EXPECT_THAT(scanned(Call::READ, 3), ElementsAre("/e: 2 blocks; stamps range from 0x1e to 0x1f",
                                                    "/e: in block 1: payload read failed: Input/output error",
                                                    "/e: block 1 with stamp 0x1f is not valid",
                                                    "/e: newest valid data are in block 0, with stamp 0x1e"));
}

TEST(PersistentDevice, SaysWhatIsWrongWithABlock) {
    const auto refuse = [](Call call) { return [=](EEPROM& eeprom) { eeprom.io.Fail(call, EIO); }; };
    const auto change = [](size_t offset, const std::vector<uint8_t>& bytes) {
        return [=](EEPROM& eeprom) { eeprom.Change(offset, bytes); };
    };
    const std::pair<std::function<void(EEPROM&)>, std::string> cases[] = {
        {refuse(Call::OPEN), "open failed: Input/output error"},
        {refuse(Call::SEEK), "seek failed: Input/output error"},
        {refuse(Call::READ), "header read failed: Input/output error"},
        {change(0, {0}), "bad header magic number"},
        {change(16, {0xF0, 0xFF, 0xFF, 0xFF}), "payload read failed: only 40 of 4294967280 bytes"},
        {change(16, {36}), "trailer read failed: only 4 of 8 bytes"},
        {change(16, {4}), "bad trailer magic number"},
        {change(20, {0}), "bad overall checksum"},
        {change(0, Block(9, {0xA0, 0xA1, 0x07})), "incomplete message at offset 1"},
        {change(0, Block(9, {0xA0, 0xA1, 0x07, 0, 5, 6, 7, 8})),
         "corrupt message at offset 1: Legacy CRC mismatch"},
    };
    const AllocationWatch watch;
    for (const auto& [damage, problem] : cases) {
        EEPROM eeprom({Block(9)});
        damage(eeprom);
        EXPECT_EQ(eeprom.device->ReadBlock(0, nullptr, nullptr), 0u);
        EXPECT_THAT(eeprom.capture->Lines(), ElementsAre("/e: in block 0: " + problem));
        EXPECT_EQ(eeprom.io.Held(), 0u);
    }
    EXPECT_LT(watch.Largest(), 8192u);  // never what a damaged length says
    EEPROM eeprom({Block(9)});
    PersistentDevice unblocked(Type::File, "/f", 0, eeprom.io);
    EXPECT_EQ(eeprom.device->ReadBlock(1, nullptr, nullptr), 0u);
    EXPECT_EQ(unblocked.ReadBlock(1, nullptr, nullptr), 0u);
    EXPECT_THAT(eeprom.capture->Lines(), ElementsAre("/e: in block 1: block 1 out of range",
                                                     "/f: in block 1: reading block from unblocked file"));
}

TEST(PersistentDevice, ReadsMessagesThroughShortTransfers) {
    std::vector<uint8_t> payload = kMessage;
    payload.push_back(0x17);  // no message: the one before it stays in the list
    EEPROM eeprom({Block(8), Block(9, payload)});
    eeprom.io.Shorten(Call::READ, 5, UINT64_MAX);
    uint32_t version = 0;
    std::list<IncomingMessage> messages(5);
    EXPECT_EQ(eeprom.device->ReadBlock(1, &messages, &version), 0u);
    EXPECT_EQ(messages.size(), 1u);
    EXPECT_EQ(version, 0u);
    EXPECT_EQ(eeprom.device->ReadBlock(0, &messages, &version), 8u);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages.front().ToString(), "A1 07 00 05 42 A9 0F");
    EXPECT_EQ(version, 7u);

    eeprom.device->ScanBlocks();
    eeprom.Change(0, Block(3));
    EXPECT_EQ(eeprom.device->NewestStamp(nullptr, nullptr), 8u);
    EXPECT_EQ(eeprom.device->NewestStamp(nullptr, &version), 0u);
}

TEST(PersistentDevice, ReportsABlockInvalidWhenMemoryIsShort) {
    EEPROM eeprom({Block(1, std::vector<uint8_t>(kBlock - 32, 0xA0))});
    const AllocationWatch watch(kBlock - 33);
    EXPECT_EQ(eeprom.device->ReadBlock(0, nullptr, nullptr), 0u);
}

TEST(PersistentDevice, WritesInvalidBlocksInOrderThenTheOldest) {
    std::vector<uint8_t> torn = Block(90), badHeader = Block(91);
    torn[30] ^= 1;
    badHeader[20] ^= 1;
    EEPROM eeprom({Block(6), {}, torn, Block(5), badHeader});
    eeprom.io.Fail(Call::SYNC, EINVAL);  // the device knows no sync
    for (uint64_t stamp = 7; stamp < 13; ++stamp)
        EXPECT_TRUE(eeprom.device->WriteBlock(stamp, Block(stamp)));
    EXPECT_THAT(
        eeprom.capture->Lines(),
        ElementsAre("/e: 5 blocks; stamps range from 0x0 to 0x5a", "/e: in block 2: bad overall checksum",
                    "/e: block 2 with stamp 0x5a is not valid",
                    "/e: newest valid data are in block 0, with stamp 0x6",
                    "/e: wrote block 1 with stamp 0x7", "/e: wrote block 2 with stamp 0x8",
                    "/e: wrote block 4 with stamp 0x9", "/e: wrote block 3 with stamp 0xa",
                    "/e: wrote block 0 with stamp 0xb", "/e: wrote block 1 with stamp 0xc"));
}

TEST(PersistentDevice, SaysWhyABlockIsNotWrittenAndWritesItsPlaceNextTime) {
    const std::tuple<Type, Call, int, std::string> cases[] = {
        {Type::EEPROM, Call::OPEN, EROFS, "/e: could not open for writing: Read-only file system"},
        {Type::MTD, Call::IOCTL, EIO, "/dev/mtd0: could not erase block 1: Input/output error"},
        {Type::MTD, Call::SEEK, EIO, "/dev/mtd0: could not seek to block 1: Input/output error"},
        {Type::EEPROM, Call::WRITE, ENOSPC, "/e: could not write block 1: No space left on device"},
        {Type::MTD, Call::WRITE, 0, "/dev/mtd0: could not write block 1: only 39 of 40 bytes"},
        {Type::EEPROM, Call::SYNC, EIO, "/e: could not sync block 1: Input/output error"},
    };
    for (const auto& [type, call, error, problem] : cases) {
        EEPROM eeprom({{}, {}});
        eeprom.io.AddMTD("persist", 2 * kBlock, kBlock);
        PersistentDevice device(type, type == Type::MTD ? "persist" : "/e", kBlock, eeprom.io);
        EXPECT_TRUE(device.WriteBlock(1, Block(1)));
        error ? eeprom.io.Fail(call, error) : eeprom.io.Shorten(call, 39);
        DebugCapture capture;
        EXPECT_FALSE(device.WriteBlock(2, Block(2)));
        EXPECT_TRUE(device.WriteBlock(3, Block(3)));
        EXPECT_THAT(capture.Lines(), ElementsAre(problem, problem.substr(0, problem.find(' ')) +
                                                              " wrote block 1 with stamp 0x3"));
        EXPECT_EQ(eeprom.io.Held(), 0u);
    }
}

TEST(PersistentDevice, WipesWhatItCan) {
    EEPROM eeprom({Block(1), Block(2), Block(3), Block(4)});
    eeprom.io.Fail(Call::OPEN, EACCES);
    EXPECT_EQ(eeprom.device->Wipe(), 0u);
    eeprom.io.Fail(Call::SEEK, EIO);
    eeprom.io.Fail(Call::WRITE, ENOSPC, 1, 1);
    eeprom.io.Fail(Call::SYNC, EIO);
    EXPECT_EQ(eeprom.device->Wipe(), 2u);
    EXPECT_THAT(eeprom.capture->Lines(),
                ElementsAre("/e: could not open for writing: Permission denied",
                            "/e: failed to seek to block 0: Input/output error",
                            "/e: could not clear block 2: No space left on device",
                            "/e: could not sync cleared blocks: Input/output error"));
    eeprom.device->ScanBlocks();
    EXPECT_EQ(eeprom.device->NewestStamp(nullptr, nullptr), 3u);
}

}  // namespace
}  // namespace quarn::test
