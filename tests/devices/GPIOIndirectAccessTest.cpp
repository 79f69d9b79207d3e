#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/socket.h>

#include <functional>
#include <future>

namespace quarn::test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

using Grammar = GPIOServerGrammar;

const std::string kFailed = "Indirect GPIO request failed: ";

// The other end, which the test plays itself.
class Server {
public:
    Server() {
        const int small = 4096;  // so that a request can be too long to be sent as a whole
        setsockopt(listener_.Socket(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    }

    uint16_t Port() const { return listener_.GetPort(); }

    // Takes the next connection, if there is one, in the place of the last.
    bool Accept() {
        Close();
        connection_.reset(listener_.Accept("server"));
        if (connection_)
            terminal_ = std::make_unique<MessageTerminal>(*connection_);
        return connection_ != nullptr;
    }
    // The next request, on a new connection when the last one is over, as text: its key and its words. Keeps its
    // action ID.
    std::string Take() {
        IncomingMessage message;
        const auto hasConnection = [&] { return (terminal_ && terminal_->Work()) || Accept(); };
        if (!Eventually([&] { return hasConnection() && terminal_->Get(message); }))
            return "(nothing came)";
        const std::unique_ptr<Sentence> sentence(grammar_.CreateSentence(&message));
        actionID = sentence->Word(0);
        return sentence->GetDetails().GetKey() + " " + sentence->Word(1).ToString();
    }
    template <class... Word>
    void Put(uint32_t tag, Word... words) {
        terminal_->Put(OutgoingMessage(*grammar_.Find(tag, true), {VariantValue(words)...}));
    }
    template <class... Word>
    void Send(uint32_t tag, Word... words) {
        Put(tag, words...);
        terminal_->Flush();
    }
    void SendBytes(const std::string& bytes) { connection_->Send(bytes.data(), bytes.size()); }
    void Close() {
        terminal_.reset();
        connection_.reset();
    }

    uint16_t actionID = 0;

private:
    const Grammar grammar_;
    TCPListener listener_{LOOPBACK, 0};
    std::unique_ptr<TCPConnection> connection_;
    std::unique_ptr<MessageTerminal> terminal_;
};

// What a Get() returned or threw.
std::string Get(GPIOIndirectAccess& gpio, const std::string& name = "slot") {
    std::string value;
    const std::string message = ThrownMessage([&] { value = Format("%u", gpio.Get(name)); });
    return value.empty() ? message : value;
}

// How often the thread has given the processor away by itself.
long Waits() {
    rusage usage;
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

class GPIOIndirectAccessTest : public testing::Test {
protected:
    // What a Get() comes to when the server does that with its action ID.
    std::string Ask(const std::function<void(uint16_t)>& answer) {
        std::future<std::string> outcome = std::async(std::launch::async, [&] { return Get(gpio_); });
        EXPECT_EQ(server_.Take(), "gpio-get slot");
        answer(server_.actionID);
        return outcome.get();
    }
    void ExpectSuccess() {
        EXPECT_EQ(Ask([&](uint16_t id) { server_.Send(Grammar::ACK, id, 0xFFFFFFFFu); }), "4294967295");
    }

    Server server_;
    GPIOIndirectAccess gpio_{LOOPBACK, server_.Port(), "far"};
};

TEST_F(GPIOIndirectAccessTest, JudgesRepliesAndCountsThem) {
    DebugCapture debug;
    ExpectSuccess();
    const uint16_t first = server_.actionID;
    EXPECT_TRUE(debug.Contains(Format("GPIO: Connected to server; next action ID is %X", first)));
    EXPECT_EQ(Ask([&](uint16_t id) {
                  EXPECT_EQ(id, uint16_t(first + 1));
                  server_.Send(Grammar::ACK, first, 1u);
                  server_.Send(Grammar::EXCEPTION, first, "late");
                  server_.Send(Grammar::TEXT, id, std::vector<std::string>{"x"});
                  SentenceGrammar other("other");
                  other.Add(0x12345, "other", 0, VariantType::NONE);
                  const OutgoingMessage message(*other.Find(0x12345, true), {});
                  server_.SendBytes("???");
                  server_.SendBytes({reinterpret_cast<const char*>(message.Sync()), message.Bytes()});
                  server_.Put(Grammar::ACK, id, 2u);
                  server_.Send(Grammar::ACK, id, 9u);  // there before the next request
              }),
              "2");
    EXPECT_EQ(debug.Count(Format("GPIO: Server returned action ID %04X; expected %04X (ignored)", first,
                                 uint16_t(first + 1))),
              2u);
    EXPECT_TRUE(debug.Contains("GPIO: Server returned tag 0302; expected 0301 (ignored)"));
    EXPECT_TRUE(debug.Contains("GPIO: Server returned tag 12345; expected 0301 (ignored)"));

    // Whatever fails closes the connection, and the next request opens another one.
    EXPECT_EQ(Ask([&](uint16_t id) { server_.Send(Grammar::EXCEPTION, id, "GPIO: unknown signal %s"); }),
              kFailed + "GPIO: unknown signal %s");
    const Lines lines = debug.Lines();
    EXPECT_THAT(Lines(lines.end() - 5, lines.end()),
                ElementsAre("GPIO: Discarded extraneous message",
                            "GPIO: Server reported exception: GPIO: unknown signal %s",
                            "GPIO: Closing connection: GPIO: unknown signal %s", "GPIO: Closing terminal",
                            "GPIOs: Closing connection"));
    EXPECT_EQ(Ask([&](uint16_t id) { server_.Send(Grammar::ACK, id, uint16_t{5}); }),
              kFailed + "Blob of type UINT32 should contain 4 bytes; have 2");
    EXPECT_FALSE(debug.Contains("GPIO: Opening connection"));
    gpio_.Execute("gpio-ind", {"debug", "1"});
    EXPECT_EQ(Ask([&](uint16_t) { server_.Close(); }), kFailed + "Connection to GPIO server broken");
    EXPECT_TRUE(debug.Contains("GPIO: Opening connection"));

    const auto time = [](const std::string& which) {
        return testing::ContainsRegex("^Reply time " + which + " \\(us\\) +[1-9]");
    };
    const auto row = [](const std::string& start) { return StartsWith(start + " "); };
    EXPECT_THAT(
        gpio_.Execute("gpio-ind", {"stats"}),
        ElementsAre(row("Requests                   5"), row("Replies                    2"),
                    time("shortest"), time("average"), time("longest"), row("Failures                   3"),
                    row("- could not connect        0"), row("- timed out connecting     0"),
                    row("- connection broken        1"), row("- no response              0"),
                    row("- exception of the server  1"), row("Connections                3"),
                    row("Replies ignored            4"), row("Messages discarded         1")));
    gpio_.Execute("gpio-ind", {"clear"});
    EXPECT_THAT(gpio_.Execute("gpio-ind", {"stats"}).front(), row("Requests                   0"));
    EXPECT_EQ(ThrownMessage([&] { gpio_.Execute("gpio-ind", {"stat"}); }),
              "\"gpio-ind\" command has no \"stat\" subcommand");
    EXPECT_EQ(gpio_.GetConsoleCommands(false), (std::set<std::string>{"far", "gpio-ind"}));
}

TEST_F(GPIOIndirectAccessTest, AServerThatStallsCostsHalfASecond) {
    for (const std::string peer : {"is silent", "does not read", "trickles", "floods"}) {
        SCOPED_TRACE(peer);
        const std::string name = peer == "does not read" ? std::string(250000, 'n') : "slot";
        const uint64_t start = Tick();
        long waits = 0;
        std::future<std::string> pending = std::async(std::launch::async, [&] {
            const long before = Waits();
            const std::string outcome = Get(gpio_, name);
            waits = Waits() - before;
            return outcome;
        });
        ASSERT_TRUE(name != "slot" || server_.Take() == "gpio-get slot");
        if (peer == "trickles")  // a message of 65536 bytes, of which this is the header
            server_.SendBytes({"\xA3\0\1\0\0\3\1", 7});
        while (pending.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
            if (peer == "trickles")
                server_.SendBytes({"\0", 1});
            if (peer == "floods")
                server_.Send(Grammar::ACK, uint16_t(server_.actionID - 1), 1u);
        }
        EXPECT_EQ(pending.get(), kFailed + "No response from GPIO server");
        EXPECT_GE(waits, peer == "floods" ? 0 : 10);
        EXPECT_GE(MillisecondsSince(start), 500u);
        EXPECT_LT(MillisecondsSince(start), 3000u);  // on a busy machine
        server_.Close();
        ExpectSuccess();
    }
}

TEST_F(GPIOIndirectAccessTest, ConnectingIsLimitedToo) {
    BusyPort port;
    GPIOIndirectAccess waiting(LOOPBACK, port.Port(), "gpio");
    const uint64_t start = Tick();
    const long before = Waits();
    EXPECT_EQ(Get(waiting), kFailed + "Timed out waiting to connect to GPIO server");
    EXPECT_GE(Waits() - before, 10);
    EXPECT_GE(MillisecondsSince(start), 500u);
    EXPECT_LT(MillisecondsSince(start), 3000u);
    DebugCapture debug;
    GPIOIndirectAccess gpio(LOOPBACK, TCPListener(LOOPBACK, 0).GetPort(), "gpio");
    EXPECT_EQ(ThrownMessage([&] { gpio.Set("slot", 1); }), kFailed + "Could not connect to GPIO server");
    EXPECT_FALSE(debug.Contains("GPIO: Closing terminal"));
    EXPECT_TRUE(debug.Contains("GPIOs: Closing connection"));
}

TEST_F(GPIOIndirectAccessTest, ReportsThatTheSystemCannotWait) {
    ExpectSuccess();
    rlimit files;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
    const rlimit none = {0, files.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);  // so that poll() may not even be given one
    const std::string message = Get(gpio_);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
    EXPECT_EQ(message, kFailed + "select failed: Invalid argument");
    EXPECT_EQ(Get(gpio_, std::string(300000, 'n')), kFailed + "Request of 300021 bytes is too long");
}

}  // namespace
}  // namespace quarn::test
