#include "sim/BoardPlayer.h"

#include <linux/i2c-dev.h>
#include <linux/spi/spidev.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <sys/mman.h>

namespace quarn::sim {
namespace {

/// Opens files of the board under short names, and makes calls on them; "name@5" seeks to 5 first.
class FilePlayer : public BoardPlayer {
public:
    FilePlayer() {
        Add({
            {"open", [&] { return Open(); }},
            {"close", [&] { return Shown(board_->Close(File())); }},
            {"read", [&] { return Read(); }},
            {"write", [&] { return Shown(board_->Write(File(), Hex(2).data(), Hex(2).size())); }},
            {"seek", [&] { return Shown(board_->Seek(File(), int64_t(N(2)), Flags(3))); }},
            {"truncate", [&] { return Shown(board_->Truncate(File(), int64_t(N(2)))); }},
            {"sync", [&] { return Shown(board_->Sync(File())); }},
            {"size", [&] { return Shown(board_->FileSize(W(1))); }},
            {"map", [&] { return Map(); }},
            {"select", [&] { return Control(I2C_SLAVE, reinterpret_cast<void*>(N(2))); }},
            {"erase",
             [&] {
                 return ControlWith(MEMERASE, erase_info_user{uint32_t(N(2)), uint32_t(N(3))});
             }},
            {"spi-mode", [&] { return ControlWith(SPI_IOC_WR_MODE32, uint32_t(N(2))); }},
            {"spi-nothing", [&] { return Control(SPI_IOC_MESSAGE(1), nullptr); }},
            {"spi", [&] { return Exchange(); }},
        });
    }

private:
    std::string Open() {
        const int32_t fd = board_->Open(W(2), Flags(3), 0600);
        files_[W(1)] = fd;
        return Shown(fd < 0 ? -1 : 0);
    }
    std::string Read() {
        Bytes bytes(N(2));
        const ssize_t count = board_->Read(File(), bytes.data(), bytes.size());
        bytes.resize(size_t(std::max<ssize_t>(count, 0)));
        return count < 0 ? Shown(count) : Shown(bytes);
    }
    std::string Map() {
        const int32_t protection = (W(3) != "w" ? PROT_READ : 0) | (W(3) != "r" ? PROT_WRITE : 0);
        const int32_t sharing = W(4) == "shared" ? MAP_SHARED : W(4) == "private" ? MAP_PRIVATE : 0;
        return Shown(board_->Map(N(2), protection, sharing, File(), int64_t(N(5))) == MAP_FAILED ? -1 : 0);
    }
    /// One message of transfers such as "both:16", "send:4096" and "receive:4:9", the last being bits a word.
    std::string Exchange() {
        Bytes bytes(10000);
        const auto buffer = uintptr_t(bytes.data());
        std::vector<spi_ioc_transfer> transfers;
        for (const std::string& word : From(2)) {
            const std::vector<std::string> parts = TokenizeDelimited(word, ':');
            spi_ioc_transfer& made = transfers.emplace_back();
            made.tx_buf = parts[0] != "receive" ? buffer : 0;
            made.rx_buf = parts[0] != "send" ? buffer : 0;
            made.len = ParseU32(parts.at(1), 0);
            made.bits_per_word = parts.size() > 2 ? uint8_t(ParseU32(parts[2], 0)) : uint8_t(0);
        }
        return Control(transfers.size() > 1 ? SPI_IOC_MESSAGE(2) : SPI_IOC_MESSAGE(1), transfers.data());
    }

    int32_t File() const {
        const size_t end = W(1).find('@');
        const int32_t fd = files_.at(W(1).substr(0, end));
        if (end != std::string::npos)
            board_->Seek(fd, int64_t(ParseU64(W(1).substr(end + 1), 0)), SEEK_SET);
        return fd;
    }
    int32_t Flags(size_t first) const {
        uint64_t flags = 0;
        for (size_t i = first; i < Words(); ++i)
            flags |= N(i);
        return int32_t(flags);
    }
    std::string Control(unsigned long request, void* argument) {
        return Shown(board_->IOCtl(File(), request, argument));
    }
    template <class Value>
    std::string ControlWith(unsigned long request, Value value) {
        return Control(request, static_cast<void*>(&value));
    }

    std::map<std::string, int32_t> files_;
};

TEST(SimulatedFilesTest, RefuseWhatKernelAndHardwareWould) {
    FilePlayer player;
    player.folder.Write("other", "abc");
    for (const char* transcript : {"buses.txt", "storage.txt", "boards.txt"})
        player.Replay(transcript);
}

}  // namespace
}  // namespace quarn::sim
