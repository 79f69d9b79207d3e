#include <quarn/sim/SimulatedBoard.h>

#include "storage/PersistentDevice.h"
#include "storage/StorageBlock.h"
#include "storage/StorageFixture.h"
#include "support/AllocationWatch.h"
#include "support/DebugCapture.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <errno.h>
#include <unistd.h>

#include <functional>

namespace quarn::test {
namespace {

using sim::Call;
using sim::SimulatedBoard;
using testing::ElementsAre;
using Type = PersistentDevice::Type;

constexpr char kPath[] = "/e";
constexpr size_t kBlock = 64;
// A UINT8 variable with tag 5 and value 0x42.
const std::vector<uint8_t> kMessage = {0xA1, 0x07, 0x00, 0x05, 0x42, 0xA9, 0x0F};

std::vector<uint8_t> Block(uint64_t stamp, const std::vector<uint8_t>& payload = kMessage) {
    BlockBuilder builder;
    builder.Append(payload.data(), payload.size());
    return builder.Finish(7, stamp);
}

/// An EEPROM with the given blocks one behind the other.
struct EEPROM {
    explicit EEPROM(std::vector<std::vector<uint8_t>> blocks) {
        io.AddEEPROMFile(kPath, blocks.size() * kBlock);
        std::vector<uint8_t> contents;
        for (std::vector<uint8_t>& block : blocks) {
            block.resize(kBlock);
            contents.insert(contents.end(), block.begin(), block.end());
        }
        io.SetContents(kPath, contents);
        device = std::make_unique<PersistentDevice>(Type::EEPROM, kPath, kBlock, io);
    }

    void Change(size_t offset, const std::vector<uint8_t>& bytes) {
        std::vector<uint8_t> contents = io.Contents(kPath);
        std::copy(bytes.begin(), bytes.end(), contents.begin() + long(offset));
        io.SetContents(kPath, contents);
    }

    SimulatedBoard io;
    std::unique_ptr<PersistentDevice> device;
};

using Damage = std::function<void(EEPROM&)>;

Damage Refuse(Call call, int error) {
    return [=](EEPROM& eeprom) { eeprom.io.Fail(call, error); };
}

Damage Change(size_t offset, const std::vector<uint8_t>& bytes) {
    return [=](EEPROM& eeprom) { eeprom.Change(offset, bytes); };
}

TEST(PersistentDevice, IsConstructedOrSaysWhyNot) {
    SimulatedBoard io;
    const std::string table = "mtd0: 000003e8 00000064 \"boot\"\nmtd1: 0000041a 00000064 \"persist\"\n";
    io.SetContents("/proc/mtd", {table.begin(), table.end()});
    io.AddEEPROMFile(kPath, 250);
    const auto construct = [&io](Type type, const char* name, uint64_t blockSize) {
        return ThrownMessage([&] { PersistentDevice(type, name, blockSize, io); });
    };
    EXPECT_EQ(construct(Type::MTD, "none", 100), "Could not find MTD device \"none\"");
    EXPECT_EQ(construct(Type::MTD, "persist", 50),
              "MTD device \"persist\" (/dev/mtd1) erase block size is not 50 bytes");
    EXPECT_EQ(construct(Type::EEPROM, "/none", 100), "Could not find EEPROM device \"/none\"");
    EXPECT_EQ(construct(Type(3), kPath, 100), "Unknown PersistentDevice type (3)");

    DebugCapture capture;
    EXPECT_EQ(PersistentDevice(Type::MTD, "persist", 100, io).GetBlockCount(), 10u);
    EXPECT_EQ(PersistentDevice(Type::EEPROM, kPath, 100, io).GetBlockCount(), 2u);
    EXPECT_EQ(PersistentDevice(Type::EEPROM, kPath, 0, io).GetBlockCount(), 0u);
    EXPECT_EQ(PersistentDevice(Type::File, "/none", 100, io).GetBlockCount(), 1u);
    EXPECT_THAT(capture.Lines(), ElementsAre("/dev/mtd1: using 10 blocks for persistent data",
                                             "/e: using 2 blocks for persistent data",
                                             "/e: using 0 blocks for persistent data"));
}

TEST(PersistentDevice, ScansPastWhatItCannotRead) {
    const std::string found = "/e: newest valid data are in block 1, with stamp 0x1f";
    const std::tuple<Call, uint64_t, uint64_t, Lines> cases[] = {
        {Call::OPEN, 1, 0, {"Could not open /e for scanning: Input/output error"}},
        {Call::SEEK,
         1,
         0,
         {"/e: failed to seek to block 0: Input/output error", "/e: 2 blocks; stamps range from 0x0 to 0x1f",
          found}},
        {Call::READ,
         1,
         2,
         {"/e: failed to read header from block 2: Input/output error",
          "/e: 2 blocks; stamps range from 0x1e to 0x1f", found}},
        {Call::READ,
         100,
         0,
         {"/e: failed to read header from block 0: Input/output error",
          "/e: failed to read header from block 1: Input/output error",
          "/e: failed to read header from block 2: Input/output error", "/e: no blocks",
          "/e: no valid data"}},
        {Call::READ,
         1,
         4,
         {"/e: 3 blocks; stamps range from 0x0 to 0x1f",
          "/e: in block 1: payload read failed: Input/output error",
          "/e: block 1 with stamp 0x1f is not valid",
          "/e: newest valid data are in block 0, with stamp 0x1e"}},
    };
    for (const auto& [call, times, skip, lines] : cases) {
        EEPROM eeprom({Block(0x1E), Block(0x1F), {}});
        eeprom.io.Fail(call, EIO, times, skip);
        DebugCapture capture;
        eeprom.device->ScanBlocks();
        EXPECT_EQ(capture.Lines(), lines);
        EXPECT_EQ(eeprom.io.Held(), 0u);
    }
}

TEST(PersistentDevice, SaysWhatIsWrongWithABlock) {
    const size_t payload = kBlock + BlockHeader::kBytes;
    const size_t trailer = payload + 8;
    std::vector<uint8_t> corrupt = kMessage;
    corrupt.back() ^= 1;
    corrupt.insert(corrupt.begin(), {0xA0, 0xA0});
    const Damage none = [](EEPROM&) {};
    const Damage truncate = [](EEPROM& e) { e.io.SetContents(kPath, std::vector<uint8_t>(kBlock + 23)); };
    const std::tuple<std::vector<uint8_t>, Damage, std::string> cases[] = {
        {kMessage, Refuse(Call::OPEN, EACCES), "open failed: Permission denied"},
        {kMessage, Refuse(Call::SEEK, EIO), "seek failed: Input/output error"},
        {kMessage, Refuse(Call::READ, EIO), "header read failed: Input/output error"},
        {kMessage, truncate, "header read failed: only 23 of 24 bytes"},
        {kMessage, Change(kBlock, {0}), "bad header magic number"},
        {kMessage, Change(kBlock + 16, {0xF0, 0xFF, 0xFF, 0xFF}),
         "payload read failed: only 40 of 4294967280 bytes"},
        {kMessage, Change(kBlock + 16, {36}), "trailer read failed: only 4 of 8 bytes"},
        {kMessage, Change(kBlock + 16, {4}), "bad trailer magic number"},
        {kMessage, Change(trailer, {0}), "bad overall checksum"},
        {kMessage, Change(payload, {0xA2}), "bad overall checksum"},
        {kMessage, Change(kBlock + 20, {0}), "bad overall checksum"},
        {{0xA0, 0xA1, 0x07}, none, "incomplete message at offset 1"},
        {corrupt, none, "corrupt message at offset 2: Legacy CRC mismatch"},
    };
    const AllocationWatch watch;
    for (const auto& [bytes, damage, problem] : cases) {
        EEPROM eeprom({Block(8), Block(9, bytes)});
        damage(eeprom);
        uint32_t version = 99;
        DebugCapture capture;
        EXPECT_EQ(eeprom.device->ReadBlock(1, nullptr, &version), 0u);
        EXPECT_THAT(capture.Lines(), ElementsAre("/e: in block 1: " + problem));
        EXPECT_EQ(version, 99u);
        EXPECT_EQ(eeprom.io.Held(), 0u);
    }
    EXPECT_LT(watch.Largest(), 8192u);  // never what a damaged length says
    EEPROM eeprom({Block(8)});
    PersistentDevice unblocked(Type::File, "/f", 0, eeprom.io);
    DebugCapture capture;
    EXPECT_EQ(eeprom.device->ReadBlock(1, nullptr, nullptr), 0u);
    EXPECT_EQ(unblocked.ReadBlock(1, nullptr, nullptr), 0u);
    EXPECT_THAT(capture.Lines(), ElementsAre("/e: in block 1: block 1 out of range",
                                             "/f: in block 1: reading block from unblocked file"));
}

TEST(PersistentDevice, ReadsMessagesThroughShortTransfers) {
    std::vector<uint8_t> payload = kMessage;
    payload.push_back(0xA0);
    payload.insert(payload.end(), kMessage.begin(), kMessage.end());
    payload.push_back(0x17);  // no message: the two before it stay in the list
    EEPROM eeprom({Block(8), Block(9, payload)});
    eeprom.io.Shorten(Call::READ, 5, UINT64_MAX);
    uint32_t version = 0;
    std::list<IncomingMessage> messages(5);
    EXPECT_EQ(eeprom.device->ReadBlock(1, &messages, &version), 0u);
    EXPECT_EQ(messages.size(), 2u);
    EXPECT_EQ(eeprom.device->ReadBlock(0, &messages, &version), 8u);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages.front().ToString(), "A1 07 00 05 42 A9 0F");
    EXPECT_EQ(version, 7u);

    eeprom.device->ScanBlocks();
    EXPECT_EQ(eeprom.device->NewestStamp(nullptr, nullptr), 8u);
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
    DebugCapture capture;
    for (uint64_t stamp = 7; stamp < 13; ++stamp)
        EXPECT_TRUE(eeprom.device->WriteBlock(stamp, Block(stamp)));
    EXPECT_THAT(
        capture.Lines(),
        ElementsAre("/e: 5 blocks; stamps range from 0x0 to 0x5a", "/e: in block 2: bad overall checksum",
                    "/e: block 2 with stamp 0x5a is not valid",
                    "/e: newest valid data are in block 0, with stamp 0x6",
                    "/e: wrote block 1 with stamp 0x7", "/e: wrote block 2 with stamp 0x8",
                    "/e: wrote block 4 with stamp 0x9", "/e: wrote block 3 with stamp 0xa",
                    "/e: wrote block 0 with stamp 0xb", "/e: wrote block 1 with stamp 0xc"));
    EXPECT_EQ(eeprom.io.Count(Call::SYNC), 6u);
}

TEST(PersistentDevice, SaysWhyABlockIsNotWrittenAndWritesItsPlaceNextTime) {
    const std::pair<std::function<void(SimulatedBoard&)>, std::string> cases[] = {
        {[](SimulatedBoard& io) { io.Fail(Call::OPEN, EROFS); },
         "could not open for writing: Read-only file system"},
        {[](SimulatedBoard& io) { io.Fail(Call::IOCTL, EIO); },
         "could not erase block 1: Input/output error"},
        {[](SimulatedBoard& io) { io.Fail(Call::SEEK, EIO); },
         "could not seek to block 1: Input/output error"},
        {[](SimulatedBoard& io) { io.Fail(Call::WRITE, ENOSPC); },
         "could not write block 1: No space left on device"},
        {[](SimulatedBoard& io) { io.Shorten(Call::WRITE, 39); },
         "could not write block 1: only 39 of 40 bytes"},
        {[](SimulatedBoard& io) { io.Fail(Call::SYNC, EIO); }, "could not sync block 1: Input/output error"},
    };
    for (const Type type : {Type::MTD, Type::EEPROM})
        for (const auto& [damage, problem] : cases) {
            if (problem.find(type == Type::MTD ? "sync" : "erase") != std::string::npos)
                continue;  // flash is not synced, nothing else is erased
            SimulatedBoard io;
            io.AddMTD("persist", 2 * kBlock, kBlock);
            io.AddEEPROMFile(kPath, 2 * kBlock);
            PersistentDevice device(type, type == Type::MTD ? "persist" : kPath, kBlock, io);
            EXPECT_TRUE(device.WriteBlock(1, Block(1)));
            damage(io);
            DebugCapture capture;
            EXPECT_FALSE(device.WriteBlock(2, Block(2)));
            io.ClearFaults();
            EXPECT_TRUE(device.WriteBlock(3, Block(3)));
            const std::string prefix = std::string(type == Type::MTD ? "/dev/mtd0" : kPath) + ": ";
            EXPECT_THAT(capture.Lines(),
                        ElementsAre(prefix + problem, prefix + "wrote block 1 with stamp 0x3"));
            EXPECT_EQ(io.Held(), 0u);
        }
}

TEST(PersistentDevice, TakesASyncThatIsNotSupportedAsDoneAndADeviceThatIsGoneAsGone) {
    EEPROM eeprom({Block(0)});
    eeprom.io.Fail(Call::SYNC, EINVAL);
    EXPECT_TRUE(eeprom.device->WriteBlock(1, Block(1)));

    const TempDirectory folder;
    folder.Write("e", std::string(kBlock, '\0'));
    PersistentDevice gone(Type::EEPROM, folder.File("e"), kBlock, DeviceIO::System());
    ASSERT_EQ(unlink(folder.File("e").c_str()), 0);
    EXPECT_FALSE(gone.WriteBlock(2, Block(2)));
    EXPECT_EQ(folder.Names(), Lines());
}

TEST(PersistentDevice, RefusesToEraseWhereTheRequestCannotReach) {
    SimulatedBoard io;
    io.AddMTD("small", 32, 16);
    const std::string table = "mtd0: 200000000 100000000 \"huge\"\n";
    io.SetContents("/proc/mtd", {table.begin(), table.end()});
    PersistentDevice device(Type::MTD, "huge", 0x100000000, io);
    io.SetContents("/dev/mtd0", Block(1));
    DebugCapture capture;
    EXPECT_FALSE(device.WriteBlock(2, Block(2)));
    EXPECT_TRUE(
        capture.Contains("/dev/mtd0: could not erase block 0: Value too large for defined data type"));
    EXPECT_EQ(io.Count(Call::IOCTL), 0u);
}

TEST(PersistentDevice, WritesAFileWithBlocksOnlyWhereThereIsOne) {
    SimulatedBoard io;
    io.AddFile("/f");
    {
        DebugCapture capture;
        EXPECT_FALSE(PersistentDevice(Type::File, "/f", kBlock, io).WriteBlock(1, Block(1)));
        EXPECT_THAT(capture.Lines(), ElementsAre("Could not open /f for scanning: No such file or directory",
                                                 "/f: cannot write data; no scanned blocks"));
    }
    EXPECT_EQ(io.FileSize("/f"), -1);
    PersistentDevice unblocked(Type::File, "/f", 0, io);
    EXPECT_TRUE(unblocked.WriteBlock(1, Block(1)));
    EXPECT_TRUE(unblocked.WriteBlock(2, Block(2)));
    EXPECT_EQ(io.Contents("/f"), Block(2));
    EXPECT_TRUE(PersistentDevice(Type::File, "/f", kBlock, io).WriteBlock(3, Block(3)));
}

TEST(PersistentDevice, WipesWhatItCan) {
    EEPROM eeprom({Block(1), Block(2), Block(3), Block(4)});
    DebugCapture capture;
    eeprom.io.Fail(Call::OPEN, EACCES);
    EXPECT_EQ(eeprom.device->Wipe(), 0u);
    eeprom.io.Fail(Call::SEEK, EIO);
    eeprom.io.Fail(Call::WRITE, ENOSPC, 1, 1);
    eeprom.io.Fail(Call::SYNC, EIO);
    EXPECT_EQ(eeprom.device->Wipe(), 2u);
    EXPECT_THAT(capture.Lines(), ElementsAre("/e: could not open for writing: Permission denied",
                                             "/e: failed to seek to block 0: Input/output error",
                                             "/e: could not clear block 2: No space left on device",
                                             "/e: could not sync cleared blocks: Input/output error"));
    eeprom.device->ScanBlocks();
    EXPECT_EQ(eeprom.device->NewestStamp(nullptr, nullptr), 3u);
}

}  // namespace
}  // namespace quarn::test
