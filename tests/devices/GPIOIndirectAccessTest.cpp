#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <functional>
#include <future>

namespace quarn::test {
namespace {

using Grammar = GPIOServerGrammar;

const std::string kFailed = "Indirect GPIO request failed: ";

// The other end, which the test plays itself.
class Server {
public:
    uint16_t Port() const { return listener_.GetPort(); }
    int Listener() { return listener_.Socket(); }
    std::string ClientsName() const { return Format("GPIO server (127.0.0.1:%u)", Port()); }

    void Accept() {
        WaitFor(listener_.Socket(), POLLIN);
        terminal_.reset();
        connection_.reset(listener_.Accept("server"));
        terminal_ = std::make_unique<MessageTerminal>(*connection_);
    }

    // The next request as text: its key and its words. Keeps its action ID.
    std::string Take() {
        IncomingMessage message;
        if (!Eventually([&] { return terminal_->Work() && terminal_->Get(message); }))
            return "(nothing came)";
        const std::unique_ptr<Sentence> sentence(grammar_.CreateSentence(&message));
        actionID = sentence->Word(0);
        std::string text = sentence->GetDetails().GetKey();
        for (size_t i = 1; i < sentence->GetWords().size(); ++i)
            text += " " + sentence->Word(i).ToString();
        return text;
    }

    template <class... Word>
    void Send(uint32_t tag, Word... words) {
        terminal_->Put(OutgoingMessage(*grammar_.Find(tag, true), {VariantValue(words)...}));
        terminal_->Flush();
    }
    // Returns false when there is no room for all of it.
    bool SendBytes(const std::string& bytes) {
        return connection_->Send(bytes.data(), bytes.size()) == bytes.size();
    }
    // Waits until all that was sent has reached the client.
    bool HasArrived() {
        int waiting = 0;
        return Eventually(
            [&] { return ioctl(connection_->Socket(), SIOCOUTQ, &waiting) == 0 && waiting == 0; });
    }
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

// What a call came to and what it cost.
struct Outcome {
    std::string text;  // what it returned or threw
    uint64_t milliseconds = 0;
    int64_t waits = 0;  // how often the thread gave the processor away by itself
};

int64_t Waits() {
    rusage usage;
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

// Makes the call on a thread of its own.
std::future<Outcome> Start(std::function<std::string()> call) {
    return std::async(std::launch::async, [call = std::move(call)] {
        const uint64_t start = Tick();
        const int64_t waitsBefore = Waits();
        Outcome outcome;
        try {
            outcome.text = call();
        } catch (const MonitorException& e) {
            outcome.text = e.Description();
        }
        outcome.milliseconds = MillisecondsSince(start);
        outcome.waits = Waits() - waitsBefore;
        return outcome;
    });
}

std::future<Outcome> StartGet(GPIOIndirectAccess& gpio, const std::string& name = "slot") {
    return Start([&gpio, name] { return Format("%u", gpio.Get(name)); });
}

// One request that the server answers with 1.
void Succeed(Server& server, GPIOIndirectAccess& gpio, bool isNewConnection) {
    std::future<Outcome> outcome = StartGet(gpio);
    if (isNewConnection)
        server.Accept();
    ASSERT_EQ(server.Take(), "gpio-get slot");
    server.Send(Grammar::ACK, server.actionID, uint32_t{1});
    ASSERT_EQ(outcome.get().text, "1");
}

TEST(GPIOIndirectAccessTest, JudgesReplies) {
    const struct {
        std::function<void(Server&, uint16_t actionID)> answer;
        std::string result;              // the value, or the reason of a failure
        std::vector<std::string> lines;  // printed; %ID, %OLD and %NAME stand for what they say
    } cases[] = {
        {[](Server& server, uint16_t id) { server.Send(Grammar::ACK, id, 0xFFFFFFFFu); }, "4294967295", {}},
        {[](Server& server, uint16_t id) {
             server.Send(Grammar::ACK, uint16_t(id - 1), 1u);
             server.Send(Grammar::EXCEPTION, uint16_t(id - 1), "late");
             server.Send(Grammar::ACK, id, 2u);
         },
         "2",
         {"GPIO: Server returned action ID %OLD; expected %ID (ignored)",
          "GPIO: Server returned action ID %OLD; expected %ID (ignored)"}},
        {[](Server& server, uint16_t id) {
             server.Send(Grammar::TEXT, id, std::vector<std::string>{"x"});
             SentenceGrammar other("other");
             other.Add(0x12345, "other", 0, VariantType::NONE);
             const OutgoingMessage message(*other.Find(0x12345, true), {});
             server.SendBytes({reinterpret_cast<const char*>(message.Sync()), message.Bytes()});
             server.Send(Grammar::ACK, id, 3u);
         },
         "3",
         {"GPIO: Server returned tag 0302; expected 0301 (ignored)",
          "GPIO: Server returned tag 12345; expected 0301 (ignored)"}},
        {[](Server& server, uint16_t id) {
             server.SendBytes("???");
             server.Send(Grammar::ACK, id, 4u);
         },
         "4",
         {"Message terminal on \"%NAME\" resynchronizing: Invalid sync byte 0x3F",
          "Message terminal on \"%NAME\" resynchronized after 3 bytes"}},
        {[](Server& server, uint16_t id) { server.Send(Grammar::EXCEPTION, id, "GPIO: unknown signal %s"); },
         "GPIO: unknown signal %s",
         {"GPIO: Server reported exception: GPIO: unknown signal %s"}},
        {[](Server& server, uint16_t id) { server.Send(Grammar::ACK, id, uint16_t{5}); },
         "Blob of type UINT32 should contain 4 bytes; have 2",
         {}},
        {[](Server& server, uint16_t) { server.Close(); },
         "Connection to GPIO server broken",
         {"Connection \"%NAME\": zero-byte read (probably shut down by peer)"}},
    };
    for (const auto& entry : cases) {
        DebugCapture debug;
        Server server;
        GPIOIndirectAccess gpio(LOOPBACK, server.Port(), "gpio");
        std::future<Outcome> outcome = StartGet(gpio);
        server.Accept();
        EXPECT_EQ(server.Take(), "gpio-get slot");
        entry.answer(server, server.actionID);

        const bool succeeds = entry.result.size() < 11 && isdigit(entry.result[0]);
        EXPECT_EQ(outcome.get().text, succeeds ? entry.result : kFailed + entry.result);
        std::vector<std::string> lines = entry.lines;
        lines.insert(lines.begin(),
                     Format("GPIO: Connected to server; next action ID is %X", server.actionID));
        for (std::string& line : lines) {
            StringReplace(line, "%ID", Format("%04X", server.actionID));
            StringReplace(line, "%OLD", Format("%04X", uint16_t(server.actionID - 1)));
            StringReplace(line, "%NAME", server.ClientsName());
        }
        if (!succeeds)
            for (const std::string& line :
                 {"GPIO: Closing connection: " + entry.result, std::string("GPIO: Closing terminal"),
                  std::string("GPIOs: Closing connection")})
                lines.push_back(line);
        EXPECT_EQ(debug.Lines(), lines);
    }
}

TEST(GPIOIndirectAccessTest, AServerThatStallsCostsHalfASecond) {
    const std::string longName(250000, 'n');
    const struct {
        const char* title;
        std::string name;
        std::function<bool(Server&)> bother;  // called over and over
        int64_t waits;                        // fewer would be a loop that does not wait
    } cases[] = {
        {"never answers", "slot", [](Server&) { return true; }, 10},
        {"never reads", longName, [](Server&) { return true; }, 10},
        {"trickles", "slot",
         [](Server& server) {
             return server.SendBytes({"\0", 1});
         },
         10},
        {"floods", "slot",
         [](Server& server) {
             server.Send(Grammar::ACK, uint16_t(server.actionID - 1), 1u);
             return true;
         },
         0},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.title);
        Server server;
        const int small = 4096;
        ASSERT_EQ(setsockopt(server.Listener(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small), 0);
        GPIOIndirectAccess gpio(LOOPBACK, server.Port(), "gpio");
        std::future<Outcome> pending = StartGet(gpio, entry.name);
        server.Accept();
        ASSERT_TRUE(entry.name == longName || server.Take() == "gpio-get slot");
        // The header of a message of 65536 bytes, which the trickle never completes.
        ASSERT_TRUE(std::string(entry.title) != "trickles" || server.SendBytes({"\xA3\0\1\0\0\3\1", 7}));
        while (pending.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
            entry.bother(server);
        const Outcome outcome = pending.get();
        EXPECT_EQ(outcome.text, kFailed + "No response from GPIO server");
        EXPECT_GE(outcome.milliseconds, 500u);
        EXPECT_LT(outcome.milliseconds, 3000u);  // on a busy machine
        EXPECT_GE(outcome.waits, entry.waits);
        server.Close();
        Succeed(server, gpio, true);
    }
}

TEST(GPIOIndirectAccessTest, ConnectingIsLimitedToo) {
    {
        BusyPort port;
        GPIOIndirectAccess gpio(LOOPBACK, port.Port(), "gpio");
        const Outcome outcome = StartGet(gpio).get();
        EXPECT_EQ(outcome.text, kFailed + "Timed out waiting to connect to GPIO server");
        EXPECT_GE(outcome.milliseconds, 500u);
        EXPECT_LT(outcome.milliseconds, 3000u);
        EXPECT_GE(outcome.waits, 10);
    }
    auto server = std::make_unique<Server>();
    GPIOIndirectAccess gpio(LOOPBACK, server->Port(), "gpio");
    server.reset();
    DebugCapture debug;
    EXPECT_EQ(ThrownMessage([&] { gpio.Set("slot", 1); }), kFailed + "Could not connect to GPIO server");
    EXPECT_FALSE(debug.Contains("GPIO: Closing terminal"));
    EXPECT_TRUE(debug.Contains("GPIOs: Closing connection"));
}

TEST(GPIOIndirectAccessTest, FindsAServerThatCameBack) {
    DebugCapture debug;
    Server server;
    GPIOIndirectAccess gpio(LOOPBACK, server.Port(), "gpio");
    Succeed(server, gpio, true);
    const uint16_t first = server.actionID;
    server.Send(Grammar::ACK, first, 9u);  // nobody has asked
    ASSERT_TRUE(server.HasArrived());
    Succeed(server, gpio, false);
    EXPECT_EQ(server.actionID, uint16_t(first + 1));
    EXPECT_EQ(debug.Count("GPIO: Discarded extraneous message"), 1u);

    server.Close();
    EXPECT_EQ(StartGet(gpio).get().text, kFailed + "Connection to GPIO server broken");
    Succeed(server, gpio, true);
}

TEST(GPIOIndirectAccessTest, ReportsThatTheSystemCannotWait) {
    Server server;
    GPIOIndirectAccess gpio(LOOPBACK, server.Port(), "gpio");
    Succeed(server, gpio, true);
    rlimit files;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
    const rlimit none = {0, files.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);  // so that poll() may not even be given one
    const std::string message = ThrownMessage([&] { gpio.Get("slot"); });
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
    EXPECT_EQ(message, kFailed + "select failed: Invalid argument");

    EXPECT_EQ(ThrownMessage([&] { gpio.Get(std::string(300000, 'n')); }),
              kFailed + "Request of 300021 bytes is too long");
}

TEST(GPIOIndirectAccessTest, TellsAboutItselfOnTheConsole) {
    DebugCapture debug;
    Server server;
    GPIOIndirectAccess gpio(LOOPBACK, server.Port(), "far");
    EXPECT_EQ(gpio.GetConsoleCommands(false), (std::set<std::string>{"far", "gpio-ind"}));
    EXPECT_EQ(gpio.GetConsoleCommands(true),
              (std::set<std::string>{"far: GPIO access (via GPIO server)", "gpio-ind: GPIO access client"}));
    EXPECT_EQ(gpio.Execute("gpio-ind", {}),
              (std::list<std::string>{"gpio-ind debug <level>                   Set debug level",
                                      "gpio-ind stats                           Show statistics",
                                      "gpio-ind clear                           Clear statistics"}));
    EXPECT_EQ(ThrownMessage([&] { gpio.Execute("gpio-ind", {"stat"}); }),
              "\"gpio-ind\" command has no \"stat\" subcommand");

    const auto failGet = [&](const std::function<void()>& act) {
        std::future<Outcome> outcome = StartGet(gpio);
        act();
        EXPECT_TRUE(outcome.get().text.starts_with(kFailed));
    };
    Succeed(server, gpio, true);
    EXPECT_FALSE(debug.Contains("GPIO: Opening connection"));
    server.Close();
    failGet([] {});
    EXPECT_EQ(gpio.Execute("gpio-ind", {"debug", "1"}), std::list<std::string>());
    failGet([&] {
        server.Accept();
        server.Take();
        server.Send(Grammar::ACK, uint16_t(server.actionID + 1), 1u);
        server.Send(Grammar::EXCEPTION, server.actionID, "no");
    });
    EXPECT_EQ(debug.Count("GPIO: Opening connection"), 1u);

    std::list<std::string> lines = gpio.Execute("gpio-ind", {"stats"});
    for (const char* const name : {"shortest", "average", "longest"}) {
        const std::string row = Format("Reply time %s (us)", name);
        lines.remove_if([&](const std::string& line) {
            return line.starts_with(row) && std::stoul(line.substr(row.size())) > 0;
        });
    }
    std::vector<std::string> rows;
    for (const std::string& line : lines)
        rows.push_back(TrimRight(line));
    EXPECT_EQ(rows, (std::vector<std::string>{
                        "Requests                   3",
                        "Replies                    1",
                        "Failures                   2",
                        "- could not connect        0",
                        "- timed out connecting     0",
                        "- connection broken        1",
                        "- no response              0",
                        "- exception of the server  1",
                        "Connections                2",
                        "Replies ignored            1",
                        "Messages discarded         0",
                    }));
    EXPECT_EQ(gpio.Execute("gpio-ind", {"clear"}), std::list<std::string>());
    EXPECT_EQ(TrimRight(gpio.Execute("gpio-ind", {"stats"}).front()), "Requests                   0");
}

}  // namespace
}  // namespace quarn::test
