#include <quarn/IncomingMessage.h>
#include <quarn/MessageTerminal.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/VariableDetails.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariantValue.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <time.h>

#include <vector>

namespace quarn::test {
namespace {

OutgoingMessage MakeMessage(uint32_t tag, size_t payload, uint8_t stream = 0) {
    static const VariableDictionary dictionary("test");
    OutgoingMessage message(VariableDetails(tag, "blob", dictionary, VariantType::UINT8_VECTOR),
                            VariantValue(std::vector<uint8_t>(payload, static_cast<uint8_t>(tag))));
    message.SetStream(stream);
    return message;
}

std::string Bytes(const OutgoingMessage& message) {
    return {reinterpret_cast<const char*>(message.Sync()), message.Bytes()};
}

std::string RxOverflow(size_t size, const std::string& start) {
    return "RX backlog for \"c\" reached " + std::to_string(size) + " bytes (" + start +
           "); clearing (traffic lost).";
}

std::string Begin(const std::string& what) {
    return "Message terminal on \"c\" resynchronizing: " + what;
}
std::string End(size_t bytes) {
    return "Message terminal on \"c\" resynchronized after " + std::to_string(bytes) + " bytes";
}

TEST(MessageTerminal, WaitsForHalfAMessage) {
    DebugCapture capture;
    Link link;
    MessageTerminal terminal(*link.connection);
    const OutgoingMessage sent = MakeMessage(0x10000, 5000);
    IncomingMessage message;
    for (const std::string& part : {std::string("\xFF"), "\xFE" + Bytes(sent).substr(0, 4999)}) {
        link.Deliver(part, terminal);
        EXPECT_FALSE(terminal.Get(message));
    }
    link.Deliver(Bytes(sent).substr(4999), terminal);
    ASSERT_TRUE(terminal.Get(message));
    EXPECT_EQ(message.ToString(), sent.ToString());
    EXPECT_FALSE(terminal.Get(message));
    EXPECT_EQ(message.GetTotalBytes(), sent.Bytes());  // nothing was there to decode
    link.Deliver("\xA1", terminal);
    EXPECT_FALSE(terminal.Get(message));
    EXPECT_EQ(message.GetTotalBytes(), 0U);
    EXPECT_EQ(capture.Lines(), Lines({Begin("Invalid sync byte 0xFF"), End(2)}));
}

TEST(MessageTerminal, EmptiesAReceiveBacklogBeyondItsLimit) {
    DebugCapture capture;
    Link link;
    MessageTerminal terminal(*link.connection);
    IncomingMessage message;
    const std::string waiting = "\xA3\xFF\xFF\xFF\xFF";  // announces 4 GiB
    terminal.SetRxBacklogLimit(5);
    link.Deliver(waiting, terminal);
    EXPECT_EQ(capture.Lines(), Lines());
    link.Deliver("x", terminal);
    terminal.SetRxBacklogLimit(0);
    std::string longer = waiting;
    longer.resize(262144, '\0');
    link.Deliver(longer, terminal);
    EXPECT_FALSE(terminal.Get(message));
    EXPECT_EQ(capture.Lines().size(), 1U);
    link.Deliver("x", terminal);
    link.Deliver(Bytes(MakeMessage(1, 1)), terminal);
    EXPECT_TRUE(terminal.Get(message));
    uint64_t received = 0;
    terminal.GetByteCounts(&received, nullptr);
    EXPECT_EQ(received, 6U + 262145 + 7);
    EXPECT_EQ(capture.Lines(),
              Lines({RxOverflow(6, "A3 FF FF FF FF 78"), RxOverflow(262145, "A3 FF FF FF FF 00 00 00")}));
}

TEST(MessageTerminal, QueuesUpToItsLimitAndForbidsSleepMeanwhile) {
    DebugCapture capture;
    Link link;
    MessageTerminal terminal(*link.connection);
    const OutgoingMessage message = MakeMessage(1, 58);
    fd_set set;
    FD_ZERO(&set);
    int maxFd = 0;
    terminal.SetTxBacklogLimit(128);
    EXPECT_EQ(terminal.Put(message), 64U);
    EXPECT_EQ(terminal.Put(message), 128U);
    EXPECT_EQ(capture.Lines(), Lines());
    EXPECT_EQ(terminal.Put(message), 0U);
    EXPECT_FALSE(terminal.WorkPending());
    EXPECT_EQ(capture.Lines(), Lines({"TX backlog for \"c\" reached 192 bytes; clearing (traffic lost)."}));
    terminal.SetTxBacklogLimit(0);
    EXPECT_EQ(terminal.Put(message), 64U);
    EXPECT_TRUE(terminal.WorkPending());
    EXPECT_FALSE(terminal.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_EQ(maxFd, 0);
    EXPECT_TRUE(terminal.Work());
    EXPECT_TRUE(terminal.SetReadableFileDescriptorBit(&set, &maxFd));
    EXPECT_TRUE(FD_ISSET(terminal.Socket(), &set));
    EXPECT_EQ(link.peer.Read(64), Bytes(message));
    EXPECT_EQ(terminal.GetTransmittedMessageCount(), 4U);
}

TEST(MessageTerminal, SendsNothingOnceDisconnectedButKeepsWhatCame) {
    Link link;
    MessageTerminal terminal(*link.connection);
    link.Deliver(Bytes(MakeMessage(5, 1)), terminal);
    link.peer.ShutDown();
    ASSERT_TRUE(WaitFor(terminal.Socket(), POLLIN));
    terminal.Put(MakeMessage(6, 1));
    EXPECT_FALSE(terminal.Work());
    EXPECT_TRUE(terminal.WorkPending());
    IncomingMessage message;
    EXPECT_TRUE(terminal.Get(message));
    EXPECT_EQ(message.GetTag(), 5U);
}

TEST(MessageTerminal, SendsInPartsWhatThePeerIsSlowToRead) {
    Link link;
    MessageTerminal terminal(*link.connection);
    terminal.SetTxBacklogLimit(64 << 20);
    std::string expected, read;
    for (uint32_t tag = 0; tag < 20000; ++tag) {
        const OutgoingMessage message = MakeMessage(tag, 1000);
        terminal.Put(message);
        expected += Bytes(message);
    }
    uint64_t sent = 0;
    while (read.size() < expected.size()) {
        ASSERT_TRUE(terminal.Work());
        terminal.GetByteCounts(nullptr, &sent);
        size_t toSend = 0;
        terminal.GetBacklogs(nullptr, &toSend);
        ASSERT_EQ(sent + toSend, expected.size());
        read += link.peer.Read(std::min<size_t>(sent - read.size(), 100000));
    }
    EXPECT_TRUE(read == expected);
    EXPECT_FALSE(terminal.WorkPending());
}

// Every byte begins a header that announces 41634 bytes; checking each of those sums takes twenty seconds.
TEST(MessageTerminal, IsNotHeldUpByHeadersAtEveryByte) {
    DebugCapture capture;
    Link link;
    MessageTerminal terminal(*link.connection);
    link.Deliver(std::string(262144, '\xA2'), terminal);
    IncomingMessage message;
    const clock_t start = clock();  // of the processor, whatever else the machine is at
    EXPECT_FALSE(terminal.Get(message));
    EXPECT_LT(clock() - start, 4 * CLOCKS_PER_SEC);
    terminal.SetRxBacklogLimit(41633);  // what is left waits for its last byte
    link.Deliver("\xA2", terminal);
    EXPECT_EQ(capture.Lines(),
              Lines({Begin("Legacy CRC mismatch"), RxOverflow(41634, "A2 A2 A2 A2 A2 A2 A2 A2")}));
}

}  // namespace
}  // namespace quarn::test
