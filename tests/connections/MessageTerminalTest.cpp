#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <time.h>

namespace quarn::test {
namespace {

OutgoingMessage MakeMessage(uint32_t tag, size_t payload) {
    static const VariableDictionary dictionary("test");
    return {VariableDetails(tag, "blob", dictionary, VariantType::UINT8_VECTOR),
            VariantValue(std::vector<uint8_t>(payload, static_cast<uint8_t>(tag)))};
}

// A terminal on a link, and what is printed meanwhile.
class MessageTerminalTest : public testing::Test {
protected:
    DebugCapture capture_;
    Link link_;
    MessageTerminal terminal_{*link_.connection};
    IncomingMessage message_;
};

TEST_F(MessageTerminalTest, PassesOverGarbageAndWaitsForHalfAMessage) {
    const OutgoingMessage sent = MakeMessage(0x10000, 5000);
    for (const std::string& part : {std::string("\xFF"), "\xFE\xFD" + WireBytes(sent).substr(0, 4999)}) {
        link_.Deliver(part, terminal_);
        EXPECT_FALSE(terminal_.Get(message_));
    }
    link_.Deliver(WireBytes(sent).substr(4999), terminal_);
    ASSERT_TRUE(terminal_.Get(message_));
    EXPECT_EQ(message_.ToString(), sent.ToString());
    EXPECT_FALSE(terminal_.Get(message_));
    EXPECT_EQ(message_.GetTotalBytes(), sent.Bytes());  // nothing was there to decode
    link_.Deliver("\xA1", terminal_);
    EXPECT_FALSE(terminal_.Get(message_));
    EXPECT_EQ(message_.GetTotalBytes(), 0U);
    EXPECT_EQ(capture_.Lines(), Lines({"Message terminal on \"c\" resynchronizing: Invalid sync byte 0xFF",
                                       "Message terminal on \"c\" resynchronized after 3 bytes"}));
}

TEST_F(MessageTerminalTest, SurvivesRandomBytesAndEmptiesAReceiveBacklogBeyondItsLimit) {
    const std::string noise = RandomBytes(10 << 20);
    for (size_t start = 0; start < noise.size(); start += 65536) {
        link_.Deliver(noise.substr(start, 65536), terminal_);
        terminal_.Get(message_);
    }
    terminal_.SetRxBacklogLimit(1);
    link_.Deliver("xx", terminal_);
    const size_t before = capture_.Lines().size();
    std::string waiting = "\xA3\xFF\xFF\xFF\xFF";  // announces 4 GiB
    waiting.resize(262144, '\0');
    terminal_.SetRxBacklogLimit(0);
    link_.Deliver(waiting, terminal_);
    EXPECT_EQ(capture_.Lines().size(), before);
    link_.Deliver("x", terminal_);
    link_.Deliver(WireBytes(MakeMessage(1, 1)), terminal_);
    EXPECT_TRUE(terminal_.Get(message_));
    EXPECT_EQ(
        capture_.Lines().at(before),
        "RX backlog for \"c\" reached 262145 bytes (A3 FF FF FF FF 00 00 00); clearing (traffic lost).");
}

TEST_F(MessageTerminalTest, QueuesUpToItsLimitAndForbidsSleepMeanwhile) {
    const OutgoingMessage message = MakeMessage(1, 58);
    fd_set set;
    FD_ZERO(&set);
    int maxFd = 0;
    terminal_.SetTxBacklogLimit(128);
    for (const size_t waiting : {64, 128, 0}) {
        EXPECT_EQ(capture_.Lines(), Lines());
        EXPECT_EQ(terminal_.Put(message), waiting);
    }
    EXPECT_FALSE(terminal_.WorkPending());
    EXPECT_EQ(capture_.Lines(), Lines({"TX backlog for \"c\" reached 192 bytes; clearing (traffic lost)."}));
    EXPECT_EQ(terminal_.Put(message), 64U);
    EXPECT_TRUE(terminal_.WorkPending());
    EXPECT_FALSE(terminal_.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_EQ(maxFd, 0);
    EXPECT_TRUE(terminal_.Work());
    EXPECT_TRUE(terminal_.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_TRUE(FD_ISSET(terminal_.Socket(), &set));
    EXPECT_EQ(link_.peer.Read(64), WireBytes(message));
    EXPECT_EQ(terminal_.GetTransmittedMessageCount(), 4U);
}

TEST_F(MessageTerminalTest, SendsNothingOnceDisconnectedButKeepsWhatCame) {
    link_.Deliver(WireBytes(MakeMessage(5, 1)), terminal_);
    link_.peer.ShutDown();
    ASSERT_TRUE(WaitFor(terminal_.Socket(), POLLIN));
    terminal_.Put(MakeMessage(6, 1));
    EXPECT_FALSE(terminal_.Work());
    EXPECT_TRUE(terminal_.WorkPending());
    EXPECT_TRUE(terminal_.Get(message_));
}

// Every byte begins a header that announces 41634 bytes; checking each of those sums takes twenty seconds.
TEST_F(MessageTerminalTest, IsNotHeldUpByHeadersAtEveryByte) {
    link_.Deliver(std::string(262144, '\xA2'), terminal_);
    const clock_t start = clock();  // of the processor, whatever else the machine is at
    EXPECT_FALSE(terminal_.Get(message_));
    EXPECT_LT(clock() - start, 4 * CLOCKS_PER_SEC);
    size_t waiting = 0;
    terminal_.GetBacklogs(&waiting, nullptr);
    EXPECT_EQ(waiting, 41633U);  // for its last byte
}

}  // namespace
}  // namespace quarn::test
