#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/CountDescriptors.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/FileSizeLimit.h"
#include "support/TempDirectory.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <random>

namespace quarn::test {
namespace {

constexpr uint32_t kToken = 0x1234ABCD;
constexpr uint32_t kChunk = 1000;

std::string RandomBytes(size_t size) {
    std::mt19937 random(61);
    std::string bytes(size, '\0');
    for (char& c : bytes)
        c = static_cast<char>(random());
    return bytes;
}

template <class End>
bool EndsAs(const End& end, uint32_t status) {
    Eventually([&] { return end.GetStatus(nullptr) >= BULK_TRANSFER_FAILED; });
    return end.GetStatus(nullptr) == status;
}

/// One end of a transfer in the hands of a test.
class HandPeer {
public:
    explicit HandPeer(std::unique_ptr<TCPConnection> connection)
        : connection_(std::move(connection)), terminal_(*connection_) {
        terminal_.SetRxBacklogLimit(0x100000);
    }
    static HandPeer ConnectedTo(uint16_t port) {
        return HandPeer(std::make_unique<TCPConnection>("hand", LOOPBACK, port));
    }
    static HandPeer AcceptedFrom(TCPListener& listener) {
        std::unique_ptr<TCPConnection> connection;
        Eventually([&] { return (connection.reset(listener.Accept("hand")), connection != nullptr); });
        return HandPeer(std::move(connection));
    }

    int Socket() { return terminal_.Socket(); }
    void Queue(uint32_t tag, const std::vector<VariantValue>& words,
               const SentenceGrammar& grammar = BulkTransferGrammar()) {
        const std::unique_ptr<OutgoingMessage> message(grammar.CreateOutgoingMessage(tag, words));
        terminal_.Put(*message);
    }
    void Say(uint32_t tag, const std::vector<VariantValue>& words,
             const SentenceGrammar& grammar = BulkTransferGrammar()) {
        Queue(tag, words, grammar);
        Eventually([&] { return terminal_.Work() ? !terminal_.WorkPending() : true; });
    }
    /// The next sentence's tag, first word and the length of its second, or 0 and what the connection's end
    /// left.
    std::string Hear() {
        IncomingMessage message;
        if (!Eventually([&] {
                const bool open = terminal_.Work();
                return terminal_.Get(message) || !open;
            }))
            return "nothing";
        if (message.GetTotalBytes() == 0)
            return "the end";
        const std::unique_ptr<Sentence> sentence(grammar_.CreateSentence(&message));
        std::string heard =
            sentence->GetDetails().GetKey() + " " + std::to_string(sentence->Word(0).As<uint32_t>());
        if (sentence->GetDetails().GetTag() == BulkTransferGrammar::PART)
            heard += " +" + std::to_string(sentence->Word(1).As<std::vector<uint8_t>>().size());
        if (sentence->GetDetails().GetTag() == BulkTransferGrammar::INIT)
            heard += " " + std::to_string(sentence->Word(1).As<uint32_t>());
        return heard;
    }

private:
    const BulkTransferGrammar grammar_;
    std::unique_ptr<TCPConnection> connection_;
    MessageTerminal terminal_;
};

std::vector<uint8_t> Data(size_t size) {
    return std::vector<uint8_t>(size, 'x');
}

TEST(BulkTransferTest, FilesArriveAsTheyAre) {
    const TempDirectory folder;
    const size_t descriptors = CountDescriptors();
    for (const size_t size : {size_t{0}, size_t{1}, size_t{kChunk - 1}, size_t{kChunk},
                              size_t{kChunk * 5 / 2}, size_t{3000000}}) {
        for (const uint32_t chunk : {kChunk, 1048529U}) {
            const std::string contents = RandomBytes(size);
            folder.Write("from", contents);
            folder.Write("to", "something longer that was there before");
            {
                BulkTransferReceiver receiver(nullptr, folder.File("to"), kToken, LOOPBACK, 0);
                BulkTransferSender sender(nullptr, folder.File("from"), kToken, LOOPBACK, receiver.GetPort(),
                                          chunk);
                EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_SUCCEEDED)) << size;
                EXPECT_TRUE(EndsAs(receiver, BULK_TRANSFER_SUCCEEDED)) << size;
                EXPECT_EQ(sender.GetAcknowledgedBytes(), size);
                uint8_t percent = 77;
                sender.GetStatus(&percent);
                EXPECT_EQ(percent, 0);  // only the receiver keeps it
                receiver.GetStatus(&percent);
                EXPECT_EQ(percent, size == 0 ? 0 : 100);
            }
            EXPECT_TRUE(folder.Read("to") == contents) << size;
        }
    }
    EXPECT_EQ(CountDescriptors(), descriptors);
}

TEST(BulkTransferTest, OneChunkIsUnderWayAtATime) {
    const TempDirectory folder;
    folder.Write("from", RandomBytes(kChunk * 5 / 2));
    DebugCapture debug;
    Debuggable levels(nullptr);
    levels.SetDebugLevel(2);
    TCPListener listener(LOOPBACK, 0);
    BulkTransferSender sender(&levels, folder.File("from"), kToken, LOOPBACK, listener.GetPort(), kChunk);
    HandPeer peer = HandPeer::AcceptedFrom(listener);
    EXPECT_EQ(peer.Hear(), "btx-init 305441741 2500");
    EXPECT_EQ(peer.Hear(), "btx-part 0 +1000");
    for (const size_t count : {1, 2}) {  // what the first one led to has been done when the second is read
        peer.Say(BulkTransferGrammar::ACK, {uint32_t{0}});
        EXPECT_TRUE(Eventually([&] {
            return debug.Count("BulkTransferSender 1234ABCD: Reader acknowledged 0 bytes") == count;
        }));
    }
    EXPECT_EQ(debug.CountContaining("Sending PART"), 1U);
    peer.Say(BulkTransferGrammar::ACK, {uint32_t{1000}});
    EXPECT_EQ(peer.Hear(), "btx-part 1000 +1000");
    peer.Say(BulkTransferGrammar::ACK, {uint32_t{999}});
    EXPECT_TRUE(Eventually([&] {
        return debug.Contains(
            "BulkTransferSender 1234ABCD: Reader acknowledged 999 bytes, but had previously "
            "acknowledged 1000");
    }));
    peer.Say(BulkTransferGrammar::ACK, {uint32_t{2000}});
    EXPECT_EQ(peer.Hear(), "btx-part 2000 +500");
    EXPECT_EQ(sender.GetStatus(nullptr), BULK_TRANSFER_IN_PROGRESS);
    peer.Say(BulkTransferGrammar::ACK, {uint32_t{2500}});
    EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_SUCCEEDED));
    EXPECT_TRUE(
        Eventually([&] { return debug.Contains("BulkTransferSender 1234ABCD: Closing peer connection"); }));
    EXPECT_TRUE(debug.Contains("BulkTransferSender 1234ABCD: Transfer succeeded"));
}

TEST(BulkTransferTest, BothEndsPrintEachStepInOrder) {
    const TempDirectory folder;
    folder.Write("from", "contents");
    DebugCapture debug;
    Debuggable levels(nullptr);
    levels.SetDebugLevel(2);
    uint16_t port = 0;
    {
        BulkTransferReceiver receiver(&levels, folder.File("to"), kToken, LOOPBACK, 0);
        BulkTransferSender sender(&levels, folder.File("from"), kToken, LOOPBACK, port = receiver.GetPort(),
                                  kChunk);
        EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_SUCCEEDED));
        EXPECT_TRUE(EndsAs(receiver, BULK_TRANSFER_SUCCEEDED));
    }
    const auto linesOf = [&](const std::string& title) {
        std::string lines;
        for (const std::string& line : debug.Lines())
            if (line.starts_with(title + " 1234ABCD: "))
                lines += line.substr(title.size() + 11) + "\n";
        return lines;
    };
    const std::string from = folder.File("from"), to = folder.File("to");
    const std::string where = "127.0.0.1:" + std::to_string(port);
    EXPECT_EQ(linesOf("BulkTransferSender"), "Opened " + from + " for reading\nEstablished connection to " +
                                                 where +
                                                 "\nSending INIT (Token 1234ABCD, Total 8)\n"
                                                 "Sending PART (Offset 0, 8 data bytes)\n"
                                                 "Received ACK (Total 8)\n"
                                                 "Reader acknowledged 8 bytes\n"
                                                 "Transfer succeeded\nClosing " +
                                                 from + "\nClosing peer connection\n");
    std::string received = linesOf("BulkTransferReceiver");
    const size_t peer = received.find("127.0.0.1:", received.find("Accepted"));
    received.erase(peer, received.find('\n', peer) - peer);  // a port that the system chose
    EXPECT_EQ(received, "Opened " + to + " for writing\nListening on " + where +
                            "\nAccepted connection from \n"
                            "Received INIT (Token 1234ABCD, Total 8)\n"
                            "Sender indicates 8 bytes to be sent\n"
                            "Received PART (Offset 0, 8 data bytes)\n"
                            "Transfer succeeded\n"
                            "Sending ACK (8 total bytes received)\nClosing " +
                            to + "\nClosing peer connection\nClosing listener\n");
}

// The sender works through all the acknowledgements before its next part meets the reset.
TEST(BulkTransferTest, AConnectionThatBreaksWhileSendingWasAConnection) {
    const TempDirectory folder;
    folder.Write("from", RandomBytes(kChunk * 2));
    DebugCapture debug;
    TCPListener listener(LOOPBACK, 0);
    BulkTransferSender sender(nullptr, folder.File("from"), kToken, LOOPBACK, listener.GetPort(), kChunk);
    {
        HandPeer peer = HandPeer::AcceptedFrom(listener);
        EXPECT_EQ(peer.Hear(), "btx-init 305441741 2000");
        EXPECT_EQ(peer.Hear(), "btx-part 0 +1000");
        for (int i = 0; i < 200; ++i)
            peer.Queue(BulkTransferGrammar::ACK, {uint32_t{0}});
        peer.Say(BulkTransferGrammar::ACK, {uint32_t{1000}});
        ResetOnClose(peer.Socket());
    }
    EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_FAILED));
    EXPECT_TRUE(debug.Contains("BulkTransferSender 1234ABCD: Peer closed connection"));
}

TEST(BulkTransferTest, TheReceiverEndsOnWhatDoesNotBelong) {
    using Words = std::vector<VariantValue>;
    using Said = std::pair<uint32_t, Words>;
    const Said init = {BulkTransferGrammar::INIT, {kToken, uint32_t{100}}};
    const Said empty = {BulkTransferGrammar::INIT, {kToken, uint32_t{0}}};
    const Said part = {BulkTransferGrammar::PART, {uint32_t{0}, Data(60)}};
    const std::pair<std::vector<Said>, std::string> cases[] = {
        {{{BulkTransferGrammar::INIT, {uint32_t{1}, uint32_t{100}}}},
         "Received INIT with token 00000001; expected 1234ABCD"},
        {{init, init}, "Received INIT message in wrong state"},
        {{part}, "Received PART message in wrong state"},
        {{init, part, part}, "Received PART with offset 0, expected 60"},
        {{init, part, {BulkTransferGrammar::PART, {uint32_t{60}, Data(41)}}},
         "Received PART with 41 bytes at offset 60, past the total of 100"},
        {{{BulkTransferGrammar::ACK, {uint32_t{0}}}}, "Received unsupported tag BB03"},
        {{init, part}, "Peer closed connection"},
    };
    for (const auto& [said, printed] : cases) {
        const TempDirectory folder;
        DebugCapture debug;
        BulkTransferReceiver receiver(nullptr, folder.File("to"), kToken, LOOPBACK, 0);
        {
            HandPeer peer = HandPeer::ConnectedTo(receiver.GetPort());
            for (const auto& [tag, words] : said)
                peer.Say(tag, words);
        }
        EXPECT_TRUE(EndsAs(receiver, BULK_TRANSFER_FAILED)) << printed;
        EXPECT_TRUE(debug.Contains("BulkTransferReceiver 1234ABCD: " + printed)) << printed;
        EXPECT_TRUE(debug.Contains("BulkTransferReceiver 1234ABCD: Transfer failed"));
        EXPECT_TRUE(Eventually([&] { return folder.Names().empty(); })) << printed;
    }
}

TEST(BulkTransferTest, AForeignMessageEndsEitherSide) {
    const TempDirectory folder;
    folder.Write("from", "x");
    DebugCapture debug;
    SentenceGrammar foreign("foreign");
    foreign.Add(0xBB04, "x", 0, VariantType::NONE);
    BulkTransferReceiver receiver(nullptr, folder.File("to"), kToken, LOOPBACK, 0);
    HandPeer toReceiver = HandPeer::ConnectedTo(receiver.GetPort());
    toReceiver.Say(0xBB04, {}, foreign);
    EXPECT_TRUE(EndsAs(receiver, BULK_TRANSFER_FAILED));
    EXPECT_TRUE(debug.Contains("BulkTransferReceiver 1234ABCD: Unrecognized message from peer"));

    TCPListener listener(LOOPBACK, 0);
    BulkTransferSender sender(nullptr, folder.File("from"), kToken, LOOPBACK, listener.GetPort(), kChunk);
    HandPeer::AcceptedFrom(listener).Say(0xBB04, {}, foreign);
    EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_FAILED));
    EXPECT_TRUE(debug.Contains("BulkTransferSender 1234ABCD: Unrecognized message from peer"));
}

TEST(BulkTransferTest, NothingIsLeftOfATransferThatCannotBegin) {
    const TempDirectory folder;
    folder.Write("from", "contents");
    ASSERT_EQ(truncate((folder.Write("large", ""), folder.File("large").c_str()), 0x100000000), 0);
    const size_t descriptors = CountDescriptors();
    TCPListener taken(LOOPBACK, 0);
    const uint16_t dead = [] { return TCPListener(LOOPBACK, 0).GetPort(); }();
    const std::string from = folder.File("from"), none = folder.File("none"), large = folder.File("large");
    const std::tuple<std::string, uint32_t, std::string> cases[] = {
        {none, kChunk, "Could not open " + none + " for reading: No such file or directory"},
        {large, kChunk, large + " is too large: 4294967296 of at most 4294967295 bytes"},
        {from, 0, "A chunk size of 0 bytes is not in the range 1..1048529"},
        {from, 1048530, "A chunk size of 1048530 bytes is not in the range 1..1048529"},
        {from, kChunk, "Failed to connect"},
    };
    for (const auto& [path, chunk, printed] : cases) {
        DebugCapture debug;
        const BulkTransferSender sender(nullptr, path, kToken, LOOPBACK, dead, chunk);
        EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_FAILED)) << printed;
        EXPECT_TRUE(debug.Contains("BulkTransferSender 1234ABCD: " + printed)) << printed;
    }
    DebugCapture debug;
    {
        const BulkTransferReceiver receiver(nullptr, folder.File("none/to"), kToken, LOOPBACK, 0);
        EXPECT_TRUE(EndsAs(receiver, BULK_TRANSFER_FAILED));
        EXPECT_EQ(receiver.GetPort(), 0);
        EXPECT_TRUE(debug.Contains("BulkTransferReceiver 1234ABCD: Could not open " + folder.File("none/to") +
                                   " for writing: No such file or directory"));
        const BulkTransferReceiver elsewhere(nullptr, folder.File("to"), kToken,
                                             IPAddress(std::string("192.0.2.1")), 0);
        EXPECT_TRUE(EndsAs(elsewhere, BULK_TRANSFER_FAILED));
    }
    EXPECT_EQ(folder.Names(), (Lines{"from", "large"}));
    EXPECT_EQ(CountDescriptors(), descriptors + 1 /* taken */ + 2 /* the capture's */);
}

TEST(BulkTransferTest, AFullDiskEndsBothSidesAndLeavesNoPart) {
    const TempDirectory folder;
    folder.Write("from", RandomBytes(100000));
    DebugCapture debug;
    BulkTransferReceiver receiver(nullptr, folder.File("to"), kToken, LOOPBACK, 0);
    BulkTransferSender sender(nullptr, folder.File("from"), kToken, LOOPBACK, receiver.GetPort(), kChunk);
    {
        const FileSizeLimit limit(1500);
        EXPECT_TRUE(EndsAs(receiver, BULK_TRANSFER_FAILED));
    }
    EXPECT_TRUE(debug.Contains("BulkTransferReceiver 1234ABCD: Error writing " + folder.File("to") +
                               ": File too large"));
    EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_FAILED));
    EXPECT_TRUE(Eventually([&] { return folder.Names() == Lines{"from"}; }));
}

TEST(BulkTransferTest, AFileThatChangesItsSizeIsNotSent) {
    for (const off_t size : {1500, 2600}) {
        const TempDirectory folder;
        folder.Write("from", RandomBytes(kChunk * 5 / 2));
        DebugCapture debug;
        TCPListener listener(LOOPBACK, 0);
        BulkTransferSender sender(nullptr, folder.File("from"), kToken, LOOPBACK, listener.GetPort(), kChunk);
        HandPeer peer = HandPeer::AcceptedFrom(listener);
        EXPECT_EQ(peer.Hear(), "btx-init 305441741 2500");
        EXPECT_EQ(peer.Hear(), "btx-part 0 +1000");
        ASSERT_EQ(truncate(folder.File("from").c_str(), size), 0);
        peer.Say(BulkTransferGrammar::ACK, {uint32_t{1000}});
        if (size > 2500) {  // seen when the last chunk is read
            EXPECT_EQ(peer.Hear(), "btx-part 1000 +1000");
            peer.Say(BulkTransferGrammar::ACK, {uint32_t{2000}});
        }
        EXPECT_EQ(peer.Hear(), "the end");
        EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_FAILED));
        EXPECT_TRUE(debug.Contains(
            "BulkTransferSender 1234ABCD: " +
            (size < 2000 ? "Read 500 of 1000 bytes from " + folder.File("from")
                         : folder.File("from") + " changed its size from 2500 to 2600 bytes")));
    }
}

TEST(BulkTransferTest, SilenceEndsATransferAndDestructionRemovesThePart) {
    const TempDirectory folder;
    folder.Write("from", RandomBytes(kChunk));
    DebugCapture debug;
    TCPListener listener(LOOPBACK, 0);
    {
        BulkTransferReceiver abandoned(nullptr, folder.File("abandoned"), kToken, LOOPBACK, 0);
        HandPeer half = HandPeer::ConnectedTo(abandoned.GetPort());
        half.Say(BulkTransferGrammar::INIT, {kToken, uint32_t{100}});
        half.Say(BulkTransferGrammar::PART, {uint32_t{0}, Data(60)});
        EXPECT_EQ(half.Hear(), "btx-ack 60");
        EXPECT_EQ(folder.Names(), (Lines{"abandoned", "from"}));
    }
    EXPECT_EQ(folder.Names(), Lines{"from"});

    const BulkTransferReceiver receiver(nullptr, folder.File("to"), kToken, LOOPBACK, 0);
    const BulkTransferSender sender(nullptr, folder.File("from"), kToken, LOOPBACK, listener.GetPort(),
                                    kChunk);
    EXPECT_TRUE(EndsAs(sender, BULK_TRANSFER_FAILED));
    EXPECT_TRUE(EndsAs(receiver, BULK_TRANSFER_FAILED));
    EXPECT_EQ(debug.CountContaining("BulkTransferSender 1234ABCD: Timed out after 20"), 1U);
    EXPECT_EQ(debug.CountContaining("BulkTransferReceiver 1234ABCD: Timed out after 20"), 1U);
    EXPECT_TRUE(Eventually([&] { return folder.Names() == Lines{"from"}; }));
}

}  // namespace
}  // namespace quarn::test
