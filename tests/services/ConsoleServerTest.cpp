#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/HeapInUse.h"

#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <thread>

namespace quarn::test {
namespace {

const std::string kFlood(100, 'f');

// "echo WORDS" gives the words back, "flood LINES" that many lines, "quote" a line that looks like an end.
class EchoAccessor final : public Accessor {
public:
    std::set<std::string> GetConsoleCommands(bool) const override { return {"echo", "flood", "quote"}; }
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override {
        ++executed;
        if (command == "flood")
            return std::list<std::string>(std::stoul(words.at(0)), kFlood);
        if (command == "quote")
            return {"\x04", "a\n\x04"};
        return {words.begin(), words.end()};
    }

    std::atomic<uint64_t> executed{0};
};

class ConsoleServerTest : public testing::Test {
protected:
    ConsoleServerTest() { accessors_.Add(echo_), accessors_.Add(monitor_); }

    DebugCapture debug_;
    EchoAccessor echo_;
    WorkerAccess monitor_;
    Accessors accessors_;
    ConsoleServer server_{nullptr, "", 0, accessors_};
    const uint16_t port_ = server_.GetPort();
};

// What the server sends up to and with the end of one response.
std::string Ask(const Peer& peer, const std::string& line) {
    peer.Write(line + "\n");
    std::string response;
    for (std::string more; !response.ends_with("\x04\n"); response += more)
        if ((more = peer.Read(1)).empty())
            return response + "(closed)";
    return response;
}

TEST_F(ConsoleServerTest, AnswersEachLineInTurn) {
    const Peer peer(port_), other(port_);
    EXPECT_EQ(Ask(peer, "echo a \"b c\"\r"), "a\nb c\n\x04\n");
    EXPECT_EQ(Ask(other, ""), "\x04\n");
    EXPECT_EQ(Ask(peer, "ech"), "unrecognized command (\"help\" for help)\n\x04\n");
    EXPECT_EQ(Ask(peer, "quote"), "?\na\n?\n\x04\n");
    EXPECT_EQ(Ask(peer, "echo 1\necho 2"), "1\n\x04\n");
    EXPECT_TRUE(peer.Hears("2\n\x04\n"));  // though nothing else arrives

    // Many lines at once, more than fits on its way, and an end of input that overtakes the responses.
    std::string lines, responses;
    for (int i = 0; i < 2000; ++i) {
        lines += Format("echo %d\n", i);
        responses += Format("%d\n\x04\n", i);
    }
    for (int i = 0; i < 100000; ++i)
        responses += kFlood + "\n";
    responses += "\x04\n";
    peer.Write(lines + "flood 100000\necho unfinished");
    peer.ShutDown();
    EXPECT_EQ(Ask(other, "echo x"), "x\n\x04\n");
    EXPECT_TRUE(peer.Read(responses.size() + 1) == responses);

    TCPConnection elsewhere("elsewhere", IPAddress("127.0.0.2"), port_);  // where it does not listen
    EXPECT_TRUE(Eventually([&] { return !elsewhere.Work(nullptr); }));
}

TEST_F(ConsoleServerTest, LetsAClientThatNeverReadsWaitAlone) {
    Peer stalled(port_);
    for (int i = 0; i < 100; ++i)
        stalled.Write("flood 50000\n");
    const Peer peer(port_);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(Ask(peer, "echo x"), "x\n\x04\n");
    EXPECT_LT(echo_.executed, 110U);  // what the stalled client asked for was not all worked out
    stalled.Reset();
    EXPECT_EQ(Ask(peer, "echo x"), "x\n\x04\n");
}

TEST_F(ConsoleServerTest, HasRoomForSixteenClientsWhoAreAllowed) {
    server_.SetDebugLevel(1);
    std::list<Peer> peers;
    for (int i = 0; i < 16; ++i)
        ASSERT_EQ(Ask(peers.emplace_back(port_), "echo x"), "x\n\x04\n");
    const Peer late(port_);
    EXPECT_EQ(late.Read(100), "too many console clients\n\x04\n");
    EXPECT_TRUE(debug_.Contains(Format(
        "ConsoleServer: Turned away console (127.0.0.1:%u): 16 clients are enough", late.LocalPort())));
    const std::string name = Format("console (127.0.0.1:%u)", peers.back().LocalPort());
    peers.pop_back();
    EXPECT_TRUE(Eventually([&] { return debug_.Contains("ConsoleServer: Dropped " + name); }));
    EXPECT_TRUE(debug_.Contains("ConsoleServer: Accepted " + name));
    EXPECT_EQ(Ask(Peer(port_), "echo x"), "x\n\x04\n");
    const ConsoleServer choosy(nullptr, "", 0, accessors_, SomebodyElse());
    EXPECT_EQ(Peer(choosy.GetPort()).Read(1), "");
}

TEST_F(ConsoleServerTest, SurvivesRandomBytes) {
    const size_t before = HeapInUse();
    const Peer noisy(port_);
    std::thread reader([&] {
        while (noisy.Read(4096).size() == 4096)
            continue;
    });
    noisy.Write(RandomBytes(10 << 20));
    noisy.ShutDown();
    reader.join();
    EXPECT_EQ(Ask(Peer(port_), "echo x"), "x\n\x04\n");
    EXPECT_LT(HeapInUse(), before + 1000000);
}

TEST_F(ConsoleServerTest, ListsAllWorkersWhileOthersDoToo) {
    std::atomic<bool> done{false};
    std::thread lister([&] {
        for (std::list<std::string> lines; !done; lines.clear())
            Worker::GetAllWorkerStatistics(lines);
    });
    const Peer peer(port_);
    for (int i = 0; i < 200; ++i) {
        EXPECT_TRUE(Ask(peer, "mon stats console").starts_with("Worker console: running, "));
        EXPECT_EQ(Ask(peer, "mon clear"), "\x04\n");
    }
    done = true;
    lister.join();
}

}  // namespace
}  // namespace quarn::test
