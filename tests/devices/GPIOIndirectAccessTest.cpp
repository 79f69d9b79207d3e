#include "connections/Loopback.h"
#include "devices/DeviceTest.h"
#include "support/Resources.h"

namespace quarn::test {
namespace {

using Grammar = GPIOServerGrammar;

const std::string kFailed = "Indirect GPIO request failed: ";

std::string Reply(uint32_t tag, uint16_t actionID, const VariantValue& value) {
    return WireBytes(Grammar(), tag, {actionID, value});
}

// The other end, which the test plays itself.
class Server {
public:
    Server() {
        const int small = 4096;  // so that a request can be too long to be sent as a whole
        setsockopt(listener_.Socket(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    }

    uint16_t Port() const { return listener_.GetPort(); }

    // The action ID of the next request, a Get("slot"), on a new connection when the last one is over.
    uint16_t Take() {
        IncomingMessage message;
        EXPECT_TRUE(Eventually([&] { return IsConnected() && terminal_->Get(message); }));
        const std::unique_ptr<Sentence> sentence(grammar_.CreateSentence(&message));
        EXPECT_EQ(sentence->GetDetails().GetKey() + " " + sentence->Word(1).ToString(), "gpio-get slot");
        return sentence->Word(0);
    }
    void Send(const std::string& bytes) { connection_->Send(bytes.data(), bytes.size()); }
    void Close() {
        terminal_.reset();
        connection_.reset();
    }

private:
    bool IsConnected() {
        if (terminal_ && terminal_->Work())
            return true;
        Close();
        connection_.reset(listener_.Accept("server"));
        if (connection_)
            terminal_ = std::make_unique<MessageTerminal>(*connection_);
        return connection_ != nullptr;
    }

    const Grammar grammar_;
    TCPListener listener_{LOOPBACK, 0};
    std::unique_ptr<TCPConnection> connection_;
    std::unique_ptr<MessageTerminal> terminal_;
};

// What a Get() returned or threw.
std::string Get(GPIOIndirectAccess& gpio, const std::string& name) {
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

// What a Get() comes to that is to cost half a second, and waits instead of looking again and again.
std::string GetInVain(GPIOIndirectAccess& gpio, const std::string& name, long leastWaits = 10) {
    const uint64_t start = Tick();
    const long before = Waits();
    const std::string outcome = Get(gpio, name);
    EXPECT_GE(Waits() - before, leastWaits);
    EXPECT_GE(MillisecondsSince(start), 500u);
    EXPECT_LT(MillisecondsSince(start), 3000u);  // on a busy machine
    return outcome;
}

class GPIOIndirectAccessTest : public testing::Test {
protected:
    // What a Get() comes to when the server does that with its action ID.
    std::string Ask(const std::function<void(uint16_t)>& answer) {
        std::future<std::string> outcome = std::async(std::launch::async, [&] { return Get(gpio_, "slot"); });
        answer(server_.Take());
        return outcome.get();
    }
    void ExpectSuccess() {
        EXPECT_EQ(Ask([&](uint16_t id) { server_.Send(Reply(Grammar::ACK, id, 0xFFFFFFFFu)); }),
                  "4294967295");
    }

    Server server_;
    GPIOIndirectAccess gpio_{LOOPBACK, server_.Port(), "far"};
};

TEST_F(GPIOIndirectAccessTest, JudgesRepliesAndCountsThem) {
    DebugCapture debug;
    uint16_t first = 0;
    EXPECT_EQ(Ask([&](uint16_t id) { server_.Send(Reply(Grammar::ACK, first = id, 7u)); }), "7");
    SentenceGrammar other("other");
    other.Add(0x12345, "other", 0, VariantType::NONE);
    EXPECT_EQ(Ask([&](uint16_t id) {
                  EXPECT_EQ(id, uint16_t(first + 1));
                  server_.Send(Reply(Grammar::ACK, first, 1u) + Reply(Grammar::EXCEPTION, first, "late") +
                               Reply(Grammar::TEXT, id, std::vector<std::string>{"x"}) + "???" +
                               WireBytes(other, 0x12345, {}) + Reply(Grammar::ACK, id, 2u) +
                               Reply(Grammar::ACK, id, 9u));  // there before the next request
              }),
              "2");
    // Whatever fails closes the connection, and the next request opens another one.
    EXPECT_EQ(Ask([&](uint16_t id) { server_.Send(Reply(Grammar::EXCEPTION, id, "unknown signal %s")); }),
              kFailed + "unknown signal %s");
    EXPECT_EQ(Ask([&](uint16_t id) { server_.Send(Reply(Grammar::ACK, id, uint16_t{5})); }),
              kFailed + "Blob of type UINT32 should contain 4 bytes; have 2");
    gpio_.Execute("gpio-ind", {"debug", "1"});
    EXPECT_EQ(Ask([&](uint16_t) { server_.Close(); }), kFailed + "Connection to GPIO server broken");

    const std::string late =
        Format("GPIO: Server returned action ID %04X; expected %04X (ignored)", first, uint16_t(first + 1));
    Lines lines = debug.Lines();
    std::erase_if(lines, [](const std::string& line) { return !line.starts_with("GPIO"); });
    lines.resize(10);
    EXPECT_THAT(lines, ElementsAre(Format("GPIO: Connected to server; next action ID is %X", first), late,
                                   late, "GPIO: Server returned tag 0302; expected 0301 (ignored)",
                                   "GPIO: Server returned tag 12345; expected 0301 (ignored)",
                                   "GPIO: Discarded extraneous message",
                                   "GPIO: Server reported exception: unknown signal %s",
                                   "GPIO: Closing connection: unknown signal %s", "GPIO: Closing terminal",
                                   "GPIOs: Closing connection"));
    EXPECT_EQ(debug.Count("GPIO: Opening connection"), 1u);  // of three, the one behind "debug 1"
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
}

TEST_F(GPIOIndirectAccessTest, AServerThatStallsCostsHalfASecond) {
    for (const std::string peer : {"is silent", "does not read", "trickles", "floods"}) {
        SCOPED_TRACE(peer);
        const std::string name = peer == "does not read" ? std::string(250000, 'n') : "slot";
        std::future<std::string> pending =
            std::async(std::launch::async, [&] { return GetInVain(gpio_, name, peer == "floods" ? 0 : 10); });
        const uint16_t id = name == "slot" ? server_.Take() : 0;
        if (peer == "trickles")  // a message of 65536 bytes, of which this is the header
            server_.Send({"\xA3\0\1\0\0\3\1", 7});
        while (pending.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
            if (peer == "trickles")
                server_.Send({"\0", 1});
            if (peer == "floods")
                server_.Send(Reply(Grammar::ACK, uint16_t(id - 1), 1u));
        }
        EXPECT_EQ(pending.get(), kFailed + "No response from GPIO server");
        server_.Close();
        ExpectSuccess();
    }
}

TEST_F(GPIOIndirectAccessTest, ConnectingIsLimitedToo) {
    BusyPort port;
    GPIOIndirectAccess waiting(LOOPBACK, port.Port(), "gpio");
    EXPECT_EQ(GetInVain(waiting, "slot"), kFailed + "Timed out waiting to connect to GPIO server");
    DebugCapture debug;
    GPIOIndirectAccess gpio(LOOPBACK, TCPListener(LOOPBACK, 0).GetPort(), "gpio");
    EXPECT_EQ(ThrownMessage([&] { gpio.Set("slot", 1); }), kFailed + "Could not connect to GPIO server");
    EXPECT_FALSE(debug.Contains("GPIO: Closing terminal"));
    EXPECT_TRUE(debug.Contains("GPIOs: Closing connection"));
}

TEST_F(GPIOIndirectAccessTest, ReportsThatTheSystemCannotWait) {
    ExpectSuccess();
    std::optional<ResourceLimit> none(std::in_place, RLIMIT_NOFILE,
                                      0);  // so that poll() may not even be given one
    const std::string message = Get(gpio_, "slot");
    none.reset();
    EXPECT_EQ(message, kFailed + "select failed: Invalid argument");
    EXPECT_EQ(Get(gpio_, std::string(300000, 'n')), kFailed + "Request of 300021 bytes is too long");
}

}  // namespace
}  // namespace quarn::test
