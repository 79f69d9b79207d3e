#include "services/PeerScript.h"
#include "support/Resources.h"

#include <filesystem>

namespace quarn::test {
namespace {

constexpr uint32_t kToken = 0x1234ABCD;

template <class End>
bool EndsAs(const End& end, uint32_t status) {
    Eventually([&] { return end.GetStatus(nullptr) >= BULK_TRANSFER_FAILED; });
    return end.GetStatus(nullptr) == status;
}

struct BulkTransferTest : PeerScriptTest {
    BulkTransferTest() {
        foreign_.Add(0xBB04, "foreign", 0, VariantType::NONE);
        grammars_ = {&bulk_, &foreign_};
        values_ = {{"folder", folder_.Path()},
                   {"from", from_},
                   {"to", to_},
                   {"port", std::to_string(listener_.GetPort())},
                   {"dead", std::to_string(TCPListener(LOOPBACK, 0).GetPort())}};
        commands_["sender"] = [this](const std::string& rest) {
            Begin("BulkTransferSender 1234ABCD: ", rest);
            Send(words_.at(1), ParseU16(words_.at(3), 0), ParseU32(words_.at(2), 0));
        };
        commands_["receiver"] = [this](const std::string& rest) {
            Begin("BulkTransferReceiver 1234ABCD: ", rest);
            Receive(words_.at(1));
            values_["here"] = std::to_string(port_);
            if (port_ != 0)
                commands_["connects"]("");
        };
        commands_["goes"] = [this](const std::string&) { sender_.reset(), receiver_.reset(); };
        commands_["accepts"] = [this](const std::string&) { peer_ = std::make_unique<Peer>(listener_); };
        commands_["is"] = [this](const std::string& rest) {
            EXPECT_TRUE(Eventually([&] { return Status() == rest; })) << Status();
        };
        commands_["fails"] = [this](const std::string& rest) {
            for (const std::string& line : {rest, std::string("Transfer failed")})
                commands_["prints"](line);
            EXPECT_TRUE(Eventually([&] { return Status().starts_with("2 "); })) << Status();
        };
        commands_["holds"] = [this](const std::string& rest) {
            EXPECT_TRUE(Eventually([&] { return folder_.Names() == Tokenize(rest); }));
        };
        commands_["resize"] = [](const std::string& rest) {
            std::filesystem::resize_file(Tokenize(rest).at(0), ParseU64(Tokenize(rest).at(1), 0));
        };
    }
    void TearDown() override {
        commands_["goes"]("");
        peer_.reset();
        EXPECT_EQ(CountDescriptors(), descriptors_);
    }
    void Begin(const std::string& title, const std::string& rest) {
        commands_["goes"]("");
        ExpectNoMorePrinted();
        title_ = title;
        words_ = Tokenize(rest);
        levels_.SetDebugLevel(ParseU32(words_.at(0), 0));
        folder_.Write("from", "\1\2\3\4\5\6\7\10\11\12");
    }
    void Send(const std::string& path, uint16_t port, uint32_t chunk) {
        sender_ = std::make_unique<BulkTransferSender>(&levels_, path, kToken, LOOPBACK, port, chunk);
    }
    void Receive(const std::string& path) {
        receiver_.reset(new BulkTransferReceiver(&levels_, path, kToken, LOOPBACK, 0));
        port_ = receiver_->GetPort();
    }
    std::string Status() const {
        uint8_t percent = 77;
        const uint32_t status = sender_ ? sender_->GetStatus(&percent) : receiver_->GetStatus(&percent);
        return Format("%u %u", status, percent);
    }

    const TempDirectory folder_;
    const std::string from_ = folder_.File("from"), to_ = folder_.File("to");
    Debuggable levels_{nullptr};
    const BulkTransferGrammar bulk_;
    SentenceGrammar foreign_{"foreign"};
    TCPListener listener_{LOOPBACK, 0};  // of who receives by hand
    std::vector<std::string> words_;
    std::unique_ptr<BulkTransferSender> sender_;
    std::unique_ptr<BulkTransferReceiver> receiver_;
    const size_t descriptors_ = CountDescriptors();
};

TEST_F(BulkTransferTest, FilesArriveAsTheyAre) {
    for (const uint32_t size : {0, 1, 999, 1000, 2500, 3000000}) {
        for (const uint32_t chunk : {1000, 1048529}) {
            SCOPED_TRACE(size);
            const std::string contents = RandomBytes(size);
            folder_.Write("from", contents);
            folder_.Write("to", "something longer that was there before");
            Receive(to_);
            Send(from_, port_, chunk);
            EXPECT_TRUE(EndsAs(*sender_, BULK_TRANSFER_SUCCEEDED));
            EXPECT_EQ(receiver_->GetStatus(nullptr), BULK_TRANSFER_SUCCEEDED);  // before it says so
            EXPECT_EQ(sender_->GetAcknowledgedBytes(), size);
            EXPECT_TRUE(folder_.Read("to") == contents);
        }
    }
}

TEST_F(BulkTransferTest, EachEndSaysAndPrintsWhatItShould) {
    std::filesystem::create_symlink("/dev/full", folder_.File("full"));
    Play("bulk_transfer.txt");
}

TEST_F(BulkTransferTest, SilenceEndsATransferAndNobodyElseIsServed) {
    folder_.Write("from", "");
    Receive(to_);
    Send(from_, listener_.GetPort(), 1000);
    const BulkTransferReceiver choosy(nullptr, folder_.File("choosy"), kToken, LOOPBACK, 0, SomebodyElse());
    EXPECT_EQ(Peer(choosy.GetPort()).Read(1), "");
    const BulkTransferReceiver elsewhere(nullptr, folder_.File("x"), kToken, IPAddress("192.0.2.1"), 0);
    EXPECT_TRUE(EndsAs(elsewhere, BULK_TRANSFER_FAILED));
    EXPECT_EQ(elsewhere.GetPort(), 0);
    EXPECT_TRUE(EndsAs(*sender_, BULK_TRANSFER_FAILED) && EndsAs(*receiver_, BULK_TRANSFER_FAILED));
    EXPECT_TRUE(EndsAs(choosy, BULK_TRANSFER_FAILED));
    EXPECT_EQ(debug_.CountContaining("BulkTransferSender 1234ABCD: Timed out after 20"), 1U);
    EXPECT_EQ(debug_.CountContaining("BulkTransferReceiver 1234ABCD: Timed out after 20"), 2U);
    EXPECT_TRUE(Eventually([&] { return folder_.Names() == Lines{"from"}; }));
}

}  // namespace
}  // namespace quarn::test
