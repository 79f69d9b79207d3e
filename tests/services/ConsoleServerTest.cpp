#include <quarn/Accessor.h>
#include <quarn/Accessors.h>
#include <quarn/ConsoleServer.h>
#include <quarn/Text.h>
#include <quarn/Worker.h>
#include <quarn/WorkerAccess.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/HeapInUse.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

namespace quarn::test {
namespace {

// "echo WORDS" gives the words back, "flood LINES" that many lines of 100 characters, "quote" a line that
// looks like an end.
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

struct Console {
    Console() { accessors.Add(echo), accessors.Add(monitor); }

    EchoAccessor echo;
    WorkerAccess monitor;
    Accessors accessors;
    ConsoleServer server{nullptr, "", 0, accessors};
};

// What the server sends up to and with the end of one response.
std::string ReadResponse(const Peer& peer) {
    std::string response;
    while (!response.ends_with("\x04\n")) {
        const std::string more = peer.Read(1);
        if (more.empty())
            return response + "(closed)";
        response += more;
    }
    return response;
}

std::string Ask(const Peer& peer, const std::string& line) {
    peer.Write(line + "\n");
    return ReadResponse(peer);
}

std::string Flood(size_t lines) {
    std::string text;
    for (size_t i = 0; i < lines; ++i)
        text += std::string(100, 'f') + "\n";
    return text + "\x04\n";
}

TEST(ConsoleServerTest, AnswersEachLineInTurn) {
    Console console;
    EXPECT_EQ(console.server.GetIPAddress(), LOOPBACK);
    Peer peer(console.server.GetPort());
    Peer other(console.server.GetPort());
    EXPECT_EQ(Ask(peer, "echo a \"b c\"\r"), "a\nb c\n\x04\n");
    EXPECT_EQ(Ask(other, ""), "\x04\n");
    EXPECT_EQ(Ask(peer, "ech"), "unrecognized command (\"help\" for help)\n\x04\n");
    EXPECT_EQ(Ask(peer, "quote"), "?\na\n?\n\x04\n");
    EXPECT_EQ(Ask(peer, "echo 1\necho 2"), "1\n\x04\n");
    EXPECT_EQ(ReadResponse(peer), "2\n\x04\n");  // though nothing else arrives

    // More than fits on its way at once.
    const std::string large = Flood(200000);
    peer.Write("flood 200000\n");
    EXPECT_TRUE(peer.Read(large.size()) == large);

    // Many lines at once, and an end of input that overtakes the responses.
    std::string lines, responses;
    for (int i = 0; i < 2000; ++i) {
        lines += Format("echo %d\n", i);
        responses += Format("%d\n\x04\n", i);
    }
    const std::string flood = Flood(50000);
    peer.Write(lines + "flood 50000\necho unfinished");
    peer.ShutDown();
    EXPECT_EQ(Ask(other, "echo x"), "x\n\x04\n");
    EXPECT_EQ(peer.Read(responses.size() + flood.size() + 1), responses + flood);
}

TEST(ConsoleServerTest, LetsAClientThatNeverReadsWaitAlone) {
    Console console;
    Peer stalled(console.server.GetPort());
    for (int i = 0; i < 100; ++i)
        stalled.Write("flood 50000\n");
    Peer peer(console.server.GetPort());
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(Ask(peer, "echo x"), "x\n\x04\n");
    EXPECT_LT(console.echo.executed, 110u);  // what the stalled client asked for was not all worked out
    stalled.Reset();
    EXPECT_EQ(Ask(peer, "echo x"), "x\n\x04\n");
}

TEST(ConsoleServerTest, HasRoomForSixteenClients) {
    DebugCapture debug;
    Console console;
    console.server.SetDebugLevel(1);
    std::vector<std::unique_ptr<Peer>> peers;
    for (int i = 0; i < 16; ++i) {
        peers.push_back(std::make_unique<Peer>(console.server.GetPort()));
        ASSERT_EQ(Ask(*peers.back(), "echo x"), "x\n\x04\n");
    }
    Peer late(console.server.GetPort());
    EXPECT_EQ(late.Read(100), "too many console clients\n\x04\n");
    EXPECT_EQ(debug.Count(Format("ConsoleServer: Turned away console (127.0.0.1:%u): 16 clients are enough",
                                 late.LocalPort())),
              1u);
    std::list<std::string> statistics;
    console.server.ReportStatistics(statistics);
    const std::list<std::string> extras =
        FormatColumnarList({{"Clients", "16"}, {"Clients turned away", "1"}, {"Lines executed", "16"}});
    EXPECT_TRUE(std::equal(extras.rbegin(), extras.rend(), statistics.rbegin()));
    const std::string name = Format("console (127.0.0.1:%u)", peers[3]->LocalPort());
    peers.erase(peers.begin() + 3);
    EXPECT_TRUE(Eventually([&] { return debug.Contains("ConsoleServer: Dropped " + name); }));
    EXPECT_EQ(debug.Count("ConsoleServer: Accepted " + name), 1u);
    Peer next(console.server.GetPort());
    EXPECT_EQ(Ask(next, "echo x"), "x\n\x04\n");
}

TEST(ConsoleServerTest, ListsAllWorkersWhileOthersDoToo) {
    Console console;
    std::atomic<bool> done{false};
    std::thread lister([&] {
        while (!done) {
            std::list<std::string> lines;
            Worker::GetAllWorkerStatistics(lines);
        }
    });
    Peer peer(console.server.GetPort());
    for (int i = 0; i < 200; ++i) {
        const std::string response = Ask(peer, "mon stats console");
        ASSERT_TRUE(response.starts_with("Worker console: running, ")) << response;
        ASSERT_EQ(Ask(peer, "mon clear"), "\x04\n");
    }
    done = true;
    lister.join();
}

TEST(ConsoleServerTest, SurvivesRandomBytes) {
    Console console;
    const size_t before = HeapInUse();
    Peer noisy(console.server.GetPort());
    std::thread reader([&] {
        while (noisy.Read(4096).size() == 4096)
            continue;
    });
    std::minstd_rand random(5);
    for (int i = 0; i < 160; ++i) {
        std::string bytes(65536, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random() >> 8);
        noisy.Write(bytes);
    }
    noisy.Write(std::string(1000000, 'x') + std::string(1000000, '\n'));
    noisy.ShutDown();
    reader.join();
    Peer peer(console.server.GetPort());
    EXPECT_EQ(Ask(peer, "echo x"), "x\n\x04\n");
    EXPECT_LT(HeapInUse(), before + 1000000);
}

TEST(ConsoleServerTest, RefusesAddressesThatAreNotItsOwn) {
    Console console;
    EXPECT_EQ(ThrownMessage([&] { ConsoleServer(nullptr, "nowhere", 0, console.accessors); }),
              "nowhere is not a valid IP address");
    EXPECT_NE(ThrownMessage([&] {
                  ConsoleServer(nullptr, "192.0.2.1", 0, console.accessors);
              }).find("Failed to bind to 192.0.2.1:0: "),
              std::string::npos);
}

}  // namespace
}  // namespace quarn::test
