#include "board/BoardDevices.h"
#include "devices/AccessorBench.h"

namespace quarn::test {
namespace {

/// Accessors on the board that the program runs on, with commands for that, too.
class BoardBench final : public AccessorBench {
public:
    BoardBench() : AccessorBench(DeviceIO::System(), GPIOChips::System()) {}

private:
    bool Run(const Words& words, const std::string& line, Response& response) override {
        const auto number = [&](size_t i) { return Number(words.at(i)); };
        if (words.at(0) == "module") {
            SetModule(words.at(1), int64_t(number(2)));
        } else if (words[0] == "shell") {
            EXPECT_EQ(system(line.substr(6).c_str()), 0);
        } else if (words[0] == "word") {
            if (words.size() > 2)
                Physical(number(1)) = uint32_t(number(2));
            response = {Format("0x%X", Physical(number(1)))};
        } else if (words[0] == "bits") {
            response = {
                Format("0x%lX", (Physical(number(1)) >> number(3)) & ((2ul << (number(2) - number(3))) - 1))};
        } else {
            return false;
        }
        return true;
    }
};

TEST(BoardTranscriptsTest, AreWhatUsersAreTold) {
    ASSERT_FALSE(TextFiles().empty());
    for (const auto& [name, transcript] : TextFiles())
        BoardBench().Replay(name, transcript);
}

TEST(BoardTranscriptsTest, ALongestTransactionIsTheKernels) {
    SPIAccess spi;
    spi.Configure("spi", {"spidev0.0", "dac"});
    const std::vector<uint8_t> longest(4096, 0x96), tooLong(4097, 0x96);
    EXPECT_EQ(spi.Transact("dac", longest), longest);
    EXPECT_EQ(ThrownMessage([&] { spi.Transact("dac", tooLong); }),
              "SPI transaction failed on spidev0.0: Message too long");
}

}  // namespace
}  // namespace quarn::test
