#include "connections/Loopback.h"

#include <time.h>

namespace quarn::test {
namespace {

OutgoingMessage MakeMessage(size_t payload) {
    static const VariableDictionary dictionary("test");
    return {VariableDetails(1, "blob", dictionary, VariantType::UINT8_VECTOR),
            VariantValue(std::vector<uint8_t>(payload))};
}

// How messages are found among garbage is compared with a model by fuzz/message_terminal.
struct MessageTerminalTest : LinkTest {
    MessageTerminal terminal{*link.connection};
    IncomingMessage message;
};

TEST_F(MessageTerminalTest, SurvivesRandomBytesAndEmptiesAReceiveBacklogBeyondItsLimit) {
    const std::string noise = RandomBytes(10 << 20);
    for (size_t start = 0; start < noise.size(); start += 65536) {
        link.Deliver(noise.substr(start, 65536), terminal);
        terminal.Get(message);
    }
    MessageTerminal fresh(*link.connection);
    fresh.SetRxBacklogLimit(1);
    fresh.SetRxBacklogLimit(0);
    std::string waiting = "\xA3\xFF\xFF\xFF\xFF";  // announces 4 GiB
    waiting.resize(262144, '\0');
    const size_t before = capture.Lines().size();
    link.Deliver(waiting, fresh);
    EXPECT_EQ(capture.Lines().size(), before);
    link.Deliver("x", fresh);
    EXPECT_EQ(
        capture.Lines().at(before),
        "RX backlog for \"c\" reached 262145 bytes (A3 FF FF FF FF 00 00 00); clearing (traffic lost).");

    link.Deliver(WireBytes(MakeMessage(1)), fresh);
    link.peer.ShutDown();
    ASSERT_TRUE(WaitFor(fresh.Socket(), POLLIN));
    fresh.Put(MakeMessage(1));
    EXPECT_FALSE(fresh.Work());
    EXPECT_TRUE(fresh.WorkPending());  // nothing is sent once disconnected, but what came is kept
    EXPECT_TRUE(fresh.Get(message));
    EXPECT_FALSE(fresh.Get(message));
    EXPECT_EQ(fresh.GetReceivedMessageCount(), 1U);
    EXPECT_EQ(message.GetTotalBytes(), WireBytes(MakeMessage(1)).size());  // nothing was there to decode
}

TEST_F(MessageTerminalTest, QueuesUpToItsLimitAndForbidsSleepMeanwhile) {
    const OutgoingMessage sent = MakeMessage(58);
    fd_set set;
    FD_ZERO(&set);
    int maxFd = 0;
    terminal.SetTxBacklogLimit(128);
    for (const size_t waiting : {64, 128, 0, 64})
        EXPECT_EQ(terminal.Put(sent), waiting);
    EXPECT_TRUE(terminal.WorkPending());
    EXPECT_EQ(capture.Lines(), Lines{"TX backlog for \"c\" reached 192 bytes; clearing (traffic lost)."});
    EXPECT_FALSE(terminal.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_EQ(maxFd, 0);
    EXPECT_TRUE(terminal.Work());
    EXPECT_TRUE(terminal.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_TRUE(FD_ISSET(terminal.Socket(), &set));
    EXPECT_TRUE(link.peer.Hears(WireBytes(sent)));
    EXPECT_EQ(terminal.GetTransmittedMessageCount(), 4U);
}

// Every byte begins a header that announces 41634 bytes; checking each of those sums takes twenty seconds.
TEST_F(MessageTerminalTest, IsNotHeldUpByHeadersAtEveryByte) {
    link.Deliver(std::string(262144, '\xA2'), terminal);
    const clock_t start = clock();  // of the processor, whatever else the machine is at
    EXPECT_FALSE(terminal.Get(message));
    EXPECT_LT(clock() - start, 4 * CLOCKS_PER_SEC);
    size_t waiting = 0;
    terminal.GetBacklogs(&waiting, nullptr);
    EXPECT_EQ(waiting, 41633U);  // for its last byte
    EXPECT_EQ(message.GetTotalBytes(), 0U);
}

}  // namespace
}  // namespace quarn::test
