#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/CountDescriptors.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/FileSizeLimit.h"
#include "support/TempDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

namespace quarn::test {
namespace {

using Grammar = BulkTransferGrammar;

constexpr uint32_t kToken = 0x1234ABCD;
constexpr uint32_t kChunk = 1000;

template <class End>
bool EndsAs(const End& end, uint32_t status) {
    Eventually([&] { return end.GetStatus(nullptr) >= BULK_TRANSFER_FAILED; });
    return end.GetStatus(nullptr) == status;
}

std::string Init(uint32_t token, uint32_t total) {
    return WireBytes(Grammar(), Grammar::INIT, {token, total});
}
std::string Part(uint32_t offset, const std::string& data) {
    return WireBytes(Grammar(), Grammar::PART, {offset, std::vector<uint8_t>(data.begin(), data.end())});
}
std::string Ack(uint32_t count) {
    return WireBytes(Grammar(), Grammar::ACK, {count});
}

class BulkTransferTest : public testing::Test {
protected:
    BulkTransferTest() { folder_.Write("from", contents_); }

    BulkTransferSender SendTo(uint16_t port, uint32_t chunk = kChunk) {
        return BulkTransferSender(&levels_, from_, kToken, LOOPBACK, port, chunk);
    }
    BulkTransferReceiver Receive() { return BulkTransferReceiver(&levels_, to_, kToken, LOOPBACK, 0); }
    bool Has(const std::string& end, const std::string& line) {
        return debug_.Contains("BulkTransfer" + end + " 1234ABCD: " + line);
    }

    const std::string contents_ = RandomBytes(kChunk * 5 / 2);
    const TempDirectory folder_;
    const std::string from_ = folder_.File("from"), to_ = folder_.File("to");
    DebugCapture debug_;
    Debuggable levels_{nullptr};
    TCPListener listener_{LOOPBACK, 0};  // of who receives by hand
};

TEST_F(BulkTransferTest, FilesArriveAsTheyAre) {
    const size_t descriptors = CountDescriptors();
    for (const size_t size : {0U, 1U, kChunk - 1, kChunk, kChunk * 5 / 2, 3000000U}) {
        for (const uint32_t chunk : {kChunk, 1048529U}) {
            const std::string contents = RandomBytes(size);
            folder_.Write("from", contents);
            folder_.Write("to", "something longer that was there before");
            {
                const BulkTransferReceiver receiver = Receive();
                const BulkTransferSender sender = SendTo(receiver.GetPort(), chunk);
                EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_SUCCEEDED)) << size;
                EXPECT_EQ(receiver.GetStatus(nullptr), BULK_TRANSFER_SUCCEEDED) << size;  // before it says so
                EXPECT_EQ(sender.GetAcknowledgedBytes(), size);
                uint8_t percent = 77;
                sender.GetStatus(&percent);
                EXPECT_EQ(percent, 0);  // only the receiver keeps it
                receiver.GetStatus(&percent);
                EXPECT_EQ(percent, size == 0 ? 0 : 100);
            }
            EXPECT_TRUE(folder_.Read("to") == contents) << size;
        }
    }
    EXPECT_EQ(CountDescriptors(), descriptors);
}

TEST_F(BulkTransferTest, OneChunkIsUnderWayAtATime) {
    levels_.SetDebugLevel(2);
    const BulkTransferSender sender = SendTo(listener_.GetPort());
    const Peer peer(listener_);
    EXPECT_TRUE(peer.Hears(Init(kToken, 2500) + Part(0, contents_.substr(0, kChunk))));
    for (const size_t count : {1, 2}) {  // what the first one led to has been done when the second is read
        peer.Write(Ack(0));
        EXPECT_TRUE(Eventually([&] {
            return debug_.Count("BulkTransferSender 1234ABCD: Reader acknowledged 0 bytes") == count;
        }));
    }
    EXPECT_EQ(debug_.CountContaining("Sending PART"), 1U);
    peer.Write(Ack(1000) + Ack(999));
    EXPECT_TRUE(peer.Hears(Part(1000, contents_.substr(1000, kChunk))));
    EXPECT_TRUE(Eventually([&] {
        return Has("Sender", "Reader acknowledged 999 bytes, but had previously acknowledged 1000");
    }));
    peer.Write(Ack(2000));
    EXPECT_TRUE(peer.Hears(Part(2000, contents_.substr(2000))));
    EXPECT_EQ(sender.GetStatus(nullptr), BULK_TRANSFER_IN_PROGRESS);
    peer.Write(Ack(2500));
    EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_SUCCEEDED));
    EXPECT_EQ(peer.Read(1), "");
}

TEST_F(BulkTransferTest, BothEndsPrintEachStepInOrder) {
    levels_.SetDebugLevel(2);
    std::string where;
    {
        const BulkTransferReceiver receiver = Receive();
        where = Format("127.0.0.1:%u", receiver.GetPort());
        EXPECT_TRUE(EndsAs(SendTo(receiver.GetPort(), 4000), BULK_TRANSFER_SUCCEEDED));
    }
    const auto said = [&](const std::string& title) {
        Lines lines;
        for (const std::string& line : debug_.Lines())
            if (line.starts_with(title))
                lines.push_back(line.substr(title.size()));
        return lines;
    };
    EXPECT_EQ(said("BulkTransferSender 1234ABCD: "),
              (Lines{"Opened " + from_ + " for reading", "Established connection to " + where,
                     "Sending INIT (Token 1234ABCD, Total 2500)", "Sending PART (Offset 0, 2500 data bytes)",
                     "Received ACK (Total 2500)", "Reader acknowledged 2500 bytes", "Transfer succeeded",
                     "Closing " + from_, "Closing peer connection"}));
    EXPECT_THAT(said("BulkTransferReceiver 1234ABCD: "),
                testing::ElementsAre("Opened " + to_ + " for writing", "Listening on " + where,
                                     testing::StartsWith("Accepted connection from 127.0.0.1:"),
                                     "Received INIT (Token 1234ABCD, Total 2500)",
                                     "Sender indicates 2500 bytes to be sent",
                                     "Received PART (Offset 0, 2500 data bytes)", "Transfer succeeded",
                                     "Sending ACK (2500 total bytes received)", "Closing " + to_,
                                     "Closing peer connection", "Closing listener"));
}

// The sender works through all the acknowledgements before its next part meets the reset.
TEST_F(BulkTransferTest, AConnectionThatBreaksWhileSendingWasAConnection) {
    const BulkTransferSender sender = SendTo(listener_.GetPort());
    Peer peer(listener_);
    EXPECT_TRUE(peer.Hears(Init(kToken, 2500) + Part(0, contents_.substr(0, kChunk))));
    std::string acks;
    for (int i = 0; i < 200; ++i)
        acks += Ack(0);
    peer.Write(acks + Ack(1000));
    peer.Reset();
    EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_FAILED));
    EXPECT_TRUE(Has("Sender", "Peer closed connection"));
}

TEST_F(BulkTransferTest, TheReceiverEndsOnWhatDoesNotBelong) {
    SentenceGrammar foreign("foreign");
    foreign.Add(0xBB04, "x", 0, VariantType::NONE);
    const std::string init = Init(kToken, 100), part = Part(0, contents_.substr(0, 60));
    const std::pair<std::string, std::string> cases[] = {
        {Init(1, 100), "Received INIT with token 00000001; expected 1234ABCD"},
        {init + init, "Received INIT message in wrong state"},
        {part, "Received PART message in wrong state"},
        {init + part + part, "Received PART with offset 0, expected 60"},
        {init + part + Part(60, contents_.substr(0, 41)),
         "Received PART with 41 bytes at offset 60, past the total of 100"},
        {Ack(0), "Received unsupported tag BB03"},
        {WireBytes(foreign, 0xBB04, {}), "Unrecognized message from peer"},
        {init + part, "Peer closed connection"},
    };
    for (const auto& [said, printed] : cases) {
        const BulkTransferReceiver receiver = Receive();
        Peer(receiver.GetPort()).Write(said);
        EXPECT_TRUE(EndsAs(receiver, BULK_TRANSFER_FAILED)) << printed;
        EXPECT_TRUE(Has("Receiver", printed)) << printed;
        EXPECT_TRUE(Has("Receiver", "Transfer failed"));
        EXPECT_TRUE(Eventually([&] { return folder_.Names() == Lines{"from"}; })) << printed;
    }
}

TEST_F(BulkTransferTest, NothingIsLeftOfATransferThatCannotBegin) {
    folder_.Write("large", "");
    const std::string none = folder_.File("none"), large = folder_.File("large");
    ASSERT_EQ(truncate(large.c_str(), 0x100000000), 0);
    const size_t descriptors = CountDescriptors();
    const uint16_t dead = TCPListener(LOOPBACK, 0).GetPort();
    const std::tuple<std::string, uint32_t, std::string> cases[] = {
        {none, kChunk, "Could not open " + none + " for reading: No such file or directory"},
        {large, kChunk, large + " is too large: 4294967296 of at most 4294967295 bytes"},
        {from_, 0, "A chunk size of 0 bytes is not in the range 1..1048529"},
        {from_, 1048530, "A chunk size of 1048530 bytes is not in the range 1..1048529"},
        {from_, kChunk, "Failed to connect"},
    };
    for (const auto& [path, chunk, printed] : cases) {
        const BulkTransferSender sender(nullptr, path, kToken, LOOPBACK, dead, chunk);
        EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_FAILED)) << printed;
        EXPECT_TRUE(Has("Sender", printed)) << printed;
    }
    {
        const BulkTransferReceiver nowhere(nullptr, none + "/to", kToken, LOOPBACK, 0);
        EXPECT_EQ(nowhere.GetPort(), 0);
        EXPECT_TRUE(EndsAs(nowhere, BULK_TRANSFER_FAILED));
        EXPECT_TRUE(Has("Receiver", "Could not open " + none + "/to for writing: No such file or directory"));
        const BulkTransferReceiver elsewhere(nullptr, to_, kToken, IPAddress("192.0.2.1"), 0);
        EXPECT_TRUE(EndsAs(elsewhere, BULK_TRANSFER_FAILED));
        const BulkTransferReceiver choosy(nullptr, to_, kToken, LOOPBACK, 0, SomebodyElse());
        EXPECT_EQ(Peer(choosy.GetPort()).Read(1), "");
    }
    EXPECT_EQ(folder_.Names(), (Lines{"from", "large"}));
    EXPECT_EQ(CountDescriptors(), descriptors);
}

TEST_F(BulkTransferTest, AFullDiskEndsBothSidesAndLeavesNoPart) {
    const FileSizeLimit limit(1500);
    const BulkTransferReceiver receiver = Receive();
    const BulkTransferSender sender = SendTo(receiver.GetPort());
    EXPECT_TRUE(EndsAs(receiver, BULK_TRANSFER_FAILED));
    EXPECT_TRUE(Has("Receiver", "Error writing " + to_ + ": File too large"));
    EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_FAILED));
    EXPECT_TRUE(Has("Sender", "Peer closed connection"));
    EXPECT_TRUE(Eventually([&] { return folder_.Names() == Lines{"from"}; }));
}

TEST_F(BulkTransferTest, AFileThatChangesItsSizeIsNotSent) {
    const std::pair<off_t, std::string> cases[] = {
        {1500, "Read 500 of 1000 bytes from " + from_},
        {2600, from_ + " changed its size from 2500 to 2600 bytes"}};
    for (const auto& [size, printed] : cases) {
        folder_.Write("from", contents_);
        const BulkTransferSender sender = SendTo(listener_.GetPort());
        const Peer peer(listener_);
        EXPECT_TRUE(peer.Hears(Init(kToken, 2500) + Part(0, contents_.substr(0, kChunk))));
        ASSERT_EQ(truncate(from_.c_str(), size), 0);
        peer.Write(Ack(1000));
        peer.Hears(Part(1000, contents_.substr(1000, kChunk)));
        peer.Write(Ack(2000));  // a growth is seen when the last chunk is read
        EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_FAILED));
        EXPECT_TRUE(Has("Sender", printed)) << printed;
    }
}

TEST_F(BulkTransferTest, SilenceEndsATransferAndDestructionRemovesThePart) {
    {
        const BulkTransferReceiver abandoned = Receive();
        const Peer peer(abandoned.GetPort());
        peer.Write(Init(kToken, 100) + Part(0, contents_.substr(0, 60)));
        EXPECT_TRUE(peer.Hears(Ack(60)));
        uint8_t percent = 0;
        EXPECT_EQ(abandoned.GetStatus(&percent), BULK_TRANSFER_IN_PROGRESS);
        EXPECT_EQ(percent, 60);
        EXPECT_EQ(folder_.Names(), (Lines{"from", "to"}));
    }
    EXPECT_EQ(folder_.Names(), Lines{"from"});

    const BulkTransferReceiver receiver = Receive();
    const BulkTransferSender sender = SendTo(listener_.GetPort());
    EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_FAILED));
    EXPECT_TRUE(EndsAs(receiver, BULK_TRANSFER_FAILED));
    EXPECT_EQ(debug_.CountContaining("BulkTransferSender 1234ABCD: Timed out after 20"), 1U);
    EXPECT_EQ(debug_.CountContaining("BulkTransferReceiver 1234ABCD: Timed out after 20"), 1U);
    EXPECT_TRUE(Eventually([&] { return folder_.Names() == Lines{"from"}; }));
}

}  // namespace
}  // namespace quarn::test
