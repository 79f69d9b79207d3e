#include "services/PeerScript.h"
#include "support/Resources.h"

#include <atomic>
#include <thread>

namespace quarn::test {
namespace {

// "echo WORDS" gives the words back, "flood LINES" that many lines, "quote" a line that looks like an end.
class EchoAccessor final : public Accessor {
public:
    std::set<std::string> GetConsoleCommands(bool) const override { return {"echo", "flood", "quote"}; }
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override {
        ++executed;
        if (command == "flood")
            return std::list<std::string>(std::stoul(words.at(0)), std::string(100, 'f'));
        if (command == "quote")
            return {"\x04", "a\n\x04"};
        return {words.begin(), words.end()};
    }

    std::atomic<uint64_t> executed{0};
};

struct ConsoleServerTest : PeerScriptTest {
    ConsoleServerTest() {
        accessors_.Add(echo_);
        port_ = server_.GetPort();
    }
    static bool IsServed(const Peer& peer) {
        peer.Write("echo x\n");
        return peer.Hears("x\n\x04\n");
    }

    EchoAccessor echo_;
    Accessors accessors_;
    ConsoleServer server_{nullptr, "", 0, accessors_};
};

TEST_F(ConsoleServerTest, AnswersEachLineInTurn) {
    title_ = "ConsoleServer: ";
    values_ = {{"end", "\x04"}, {"cr", "\r"}};
    server_.SetDebugLevel(1);
    Play("console_server.txt");

    // Many lines at once, more than fits on its way, and an end of input that overtakes the responses.
    std::string lines, responses;
    for (int i = 0; i < 2000; ++i) {
        lines += Format("echo %d\n", i);
        responses += Format("%d\n\x04\n", i);
    }
    for (int i = 0; i < 100000; ++i)
        responses += std::string(100, 'f') + "\n";
    responses += "\x04\n";
    const Peer peer(port_), other(port_);
    peer.Write(lines + "flood 100000\necho unfinished");
    peer.ShutDown();
    EXPECT_TRUE(IsServed(other));
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
        ASSERT_TRUE(IsServed(peer));
    EXPECT_LT(echo_.executed, 110U);  // what the stalled client asked for was not all worked out
    stalled.Reset();
    EXPECT_TRUE(IsServed(peer));
}

TEST_F(ConsoleServerTest, HasRoomForSixteenClientsWhoAreAllowed) {
    std::list<Peer> peers;
    for (int i = 0; i < 16; ++i)
        ASSERT_TRUE(IsServed(peers.emplace_back(port_)));
    const Peer late(port_);
    EXPECT_EQ(late.Read(100), "too many console clients\n\x04\n");
    EXPECT_TRUE(debug_.Contains(Format(
        "ConsoleServer: Turned away console (127.0.0.1:%u): 16 clients are enough", late.LocalPort())));
    peers.pop_back();
    EXPECT_TRUE(Eventually([&] { return IsServed(Peer(port_)); }));
    const ConsoleServer choosy(nullptr, "", 0, accessors_, SomebodyElse());
    EXPECT_EQ(Peer(choosy.GetPort()).Read(1), "");
}

TEST_F(ConsoleServerTest, SurvivesRandomBytes) {
    const size_t before = HeapInUse();
    const Peer noisy(port_);
    std::jthread reader([&] {
        while (noisy.Read(4096).size() == 4096)
            continue;
    });
    noisy.Write(RandomBytes(10 << 20));
    noisy.ShutDown();
    reader.join();
    EXPECT_TRUE(IsServed(Peer(port_)));
    EXPECT_LT(HeapInUse(), before + 1000000);
}

}  // namespace
}  // namespace quarn::test
