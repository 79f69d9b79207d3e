#include "sim/BoardPlayer.h"
#include "storage/PersistentDevice.h"
#include "storage/StorageBlock.h"
#include "support/AllocationWatch.h"

namespace quarn::test {
namespace {

using Type = PersistentDevice::Type;

constexpr size_t kMostMemory = 8192;
// A UINT8 variable with tag 5 and value 0x42.
const Bytes kMessage = {0xA1, 0x07, 0x00, 0x05, 0x42, 0xA9, 0x0F};

Bytes Block(uint64_t stamp, const Bytes& payload = kMessage) {
    BlockBuilder builder;
    builder.Append(payload.data(), payload.size());
    return builder.Finish(7, stamp);
}

/// Uses one device of a board at a time: what is printed comes of each call, and what is returned, if not 0.
class DevicePlayer : public sim::BoardPlayer {
public:
    DevicePlayer() {
        Add({
            {"table", Quietly([&] { Write("/proc/mtd", SIZE_MAX, "\n" + W(1)); })},
            {"use", [&] { return Printed([&] { Use(); }); }},
            {"block", Quietly([&] { Write(path_, N(1), Block(N(2), Words() > 3 ? Hex(3) : kMessage)); })},
            {"change", Quietly([&] { Write(path_, N(1), Hex(2)); })},
            {"scan", [&] { return Printed([&] { device_->ScanBlocks(); }); }},
            {"read", [&] { return Read(); }},
            {"newest", [&] { return Returned([&] { return device_->NewestStamp(nullptr, nullptr); }); }},
            {"read-newest",
             [&] { return Returned([&] { return device_->NewestStamp(&messages_, nullptr); }); }},
            {"write", [&] { return Returned([&] { return device_->WriteBlock(N(1), Block(N(1))); }); }},
            {"wipe", [&] { return Returned([&] { return device_->Wipe(); }); }},
        });
    }

private:
    void Use() {
        static const std::map<std::string, Type> types = {
            {"mtd", Type::MTD}, {"eeprom", Type::EEPROM}, {"file", Type::File}, {"other", Type(3)}};
        path_ = W(1) == "mtd" ? "/dev/mtd0" : W(3);
        messages_.clear();
        device_ = std::make_unique<PersistentDevice>(types.at(W(1)), W(3), N(2), *board_);
    }
    template <class Container>
    void Write(const std::string& path, size_t at, const Container& bytes) {
        Bytes contents = board_->Contents(path);
        at = std::min(at, contents.size());
        contents.resize(std::max(contents.size(), at + bytes.size()));
        std::copy(bytes.begin(), bytes.end(), contents.begin() + long(at));
        board_->SetContents(path, contents);
    }
    template <class Call>
    std::string Returned(Call&& call) {
        std::string returned;
        const std::string report = Printed([&] { returned = Shown(int64_t(call())); });
        return report + (report.empty() || returned.empty() ? returned : " (" + returned + ")") +
               (board_->Held() == 0 ? "" : " (left open)");
    }
    std::string Read() {
        uint32_t version = 0;
        size_t memory = 0;
        std::string shown = Returned([&] {
            const AllocationWatch watch;
            const uint64_t stamp = device_->ReadBlock(N(1), &messages_, &version);
            memory = watch.Largest();
            return stamp;
        });
        if (version != 0)
            shown += ", version " + std::to_string(version);
        for (const IncomingMessage& message : messages_)
            shown += "\n" + message.ToString();
        return memory < kMostMemory ? shown : shown + " (took memory on trust)";
    }

    std::string path_;
    std::unique_ptr<PersistentDevice> device_;
    std::list<IncomingMessage> messages_;
};

TEST(PersistentDeviceTest, SaysWhatItDoesAndWhyNot) {
    DevicePlayer().Replay("devices.txt");
}

TEST(PersistentDeviceTest, ReportsABlockInvalidWhenMemoryIsShort) {
    sim::SimulatedBoard io;
    io.AddEEPROMFile("/e", 64);
    io.SetContents("/e", Block(1, Bytes(32, 0xA0)));
    PersistentDevice device(Type::EEPROM, "/e", 64, io);
    const AllocationWatch watch(31);
    EXPECT_EQ(device.ReadBlock(0, nullptr, nullptr), 0u);
}

}  // namespace
}  // namespace quarn::test
