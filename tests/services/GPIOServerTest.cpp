#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <list>
#include <map>
#include <random>
#include <stdexcept>
#include <thread>

namespace quarn::test {
namespace {

using Grammar = GPIOServerGrammar;

// Signals in memory; "in" cannot be set. Commands give back what they were given, except "big LENGTH", one line
// of that many characters, "odd", which fails as no accessor should, and "call", which calls what the test says.
class MemoryGPIO final : public GPIOAccess {
public:
    uint32_t Get(const std::string& name) override {
        const Visit visit(*this);
        const auto found = values.find(name);
        if (found == values.end())
            throw MonitorException("GPIO: unknown signal %s", name.c_str());
        return found->second;
    }
    void Set(const std::string& name, uint32_t value) override {
        const Visit visit(*this);
        if (name == "in")
            throw MonitorException("GPIO: signal in is not an output or bidirectional");
        values[name] = value;
    }
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override {
        const Visit visit(*this);
        ++executed;
        if (command == "odd")
            throw std::runtime_error("odd");
        if (command == "call")
            call();
        if (command == "big")
            return {std::string(ParseU32(words.at(0), 0), 'b')};
        std::list<std::string> lines(words.begin(), words.end());
        lines.push_front(command);
        return lines;
    }

    std::map<std::string, uint32_t> values{{"in", 3}, {"mute", 0}, {"a", 0}, {"b", 0}, {"c", 0}};
    std::function<void()> call;
    std::atomic<uint64_t> executed{0};
    std::atomic<uint64_t> meetings{0};  // calls that met another one

private:
    struct Visit {
        explicit Visit(MemoryGPIO& visited) : gpio(visited) {
            if (gpio.isVisited_.exchange(true))
                ++gpio.meetings;
            std::this_thread::yield();  // to whoever would come in
        }
        ~Visit() { gpio.isVisited_ = false; }
        MemoryGPIO& gpio;
    };
    std::atomic<bool> isVisited_{false};
};

struct Served {
    MemoryGPIO gpio;
    GPIOServer server{nullptr, "", 0, gpio};
};

std::string Message(uint32_t tag, const std::vector<VariantValue>& words) {
    static const Grammar grammar;
    const OutgoingMessage message(*grammar.Find(tag, true), words);
    return {reinterpret_cast<const char*>(message.Sync()), message.Bytes()};
}

std::string Hex(const std::string& bytes) {
    return FormatHexBytesUnprefixed(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

// Whether the server answers this client's request as it should.
bool IsServed(const Peer& peer) {
    const std::string reply = Message(Grammar::ACK, {uint16_t{9}, 3u});
    peer.Write(Message(Grammar::GET, {uint16_t{9}, "in"}));
    return peer.Read(reply.size()) == reply;
}

using Strings = std::vector<std::string>;

TEST(GPIOServerTest, AnswersRequests) {
    // The most that a reply can carry: a message of 262144 bytes.
    const size_t most = 262144 - 9 - 7 - 5 - 4;
    const std::string longName(262000, 'n');
    const struct {
        uint32_t request;
        std::vector<VariantValue> words;
        uint32_t reply;
        VariantValue answer;
    } cases[] = {
        {Grammar::GET, {"in"}, Grammar::ACK, 3u},
        {Grammar::GET, {"none"}, Grammar::EXCEPTION, "GPIO: unknown signal none"},
        {Grammar::GET, {longName}, Grammar::EXCEPTION, Truncate("GPIO: unknown signal " + longName, 4096)},
        {Grammar::SET, {"mute", 0xFFFFFFFFu}, Grammar::ACK, 0xFFFFFFFFu},
        {Grammar::GET, {"mute"}, Grammar::ACK, 0xFFFFFFFFu},
        {Grammar::SET, {"in", 1u}, Grammar::EXCEPTION, "GPIO: signal in is not an output or bidirectional"},
        {Grammar::COMMAND,
         {Strings{"far set \"a b\" \"\""}},
         Grammar::TEXT,
         Strings{"far", "set", "a b", ""}},
        {Grammar::COMMAND, {Strings{"far", "list"}}, Grammar::TEXT, Strings{"far", "list"}},
        {Grammar::COMMAND, {Strings{}}, Grammar::EXCEPTION, "GPIO: no command"},
        {Grammar::COMMAND, {Strings{"a\"b"}}, Grammar::EXCEPTION, "Double-quote within token"},
        {Grammar::COMMAND, {Strings{"odd"}}, Grammar::EXCEPTION, "odd"},
        {Grammar::COMMAND,
         {Strings{Format("big %zu", most)}},
         Grammar::TEXT,
         Strings{std::string(most, 'b')}},
        {Grammar::COMMAND,
         {Strings{Format("big %zu", most + 1)}},
         Grammar::EXCEPTION,
         "GPIO: response of 262145 bytes is too long"},
    };
    Served served;
    EXPECT_EQ(served.server.GetIPAddress(), LOOPBACK);
    Peer peer(served.server.GetPort());
    std::string requests, replies;
    uint16_t actionID = 0xFFF8;
    for (const auto& entry : cases) {
        std::vector<VariantValue> words = entry.words;
        words.insert(words.begin(), actionID);
        const std::string request = Message(entry.request, words);
        const std::string reply = Message(entry.reply, {actionID, entry.answer});
        peer.Write(request);
        EXPECT_EQ(Hex(peer.Read(reply.size())), Hex(reply)) << Hex(request);
        if (request.size() + reply.size() < 1000) {
            requests += request;
            replies += reply;
        }
        ++actionID;
    }
    peer.Write(requests);  // all at once, and an end of input that overtakes the replies
    peer.ShutDown();
    EXPECT_EQ(Hex(peer.Read(replies.size() + 1)), Hex(replies));
}

TEST(GPIOServerTest, DropsAClientThatAsksForNothing) {
    SentenceGrammar other("other");
    other.Add(Grammar::GET, "get", 0, VariantType::UINT16, VariantType::NONE);
    other.Add(Grammar::SET, "set", 0, VariantType::UINT16, VariantType::STRING, VariantType::STRING,
              VariantType::NONE);
    other.Add(1000, "other", 0, VariantType::NONE);
    const auto strange = [&](uint32_t tag, const std::vector<VariantValue>& words) {
        const OutgoingMessage message(*other.Find(tag, true), words);
        return std::string(reinterpret_cast<const char*>(message.Sync()), message.Bytes());
    };
    const struct {
        std::string message;
        const char* defect;
    } cases[] = {
        {strange(Grammar::GET, {uint16_t{1}}), "tag 0x00000101: Message contained only 1 of 2 word(s)"},
        {strange(Grammar::SET, {uint16_t{1}, "mute", "1"}),
         "tag 0x00000102: Blob of type UINT32 should contain 4 bytes; have 1"},
        {strange(1000, {}), "tag 0x000003E8: not a request"},
        {Message(Grammar::ACK, {uint16_t{1}, 1u}), "tag 0x00000301: not a request"},
    };
    DebugCapture debug;
    Served served;
    const Peer honest(served.server.GetPort());
    for (const auto& entry : cases) {
        const Peer peer(served.server.GetPort());
        peer.Write(entry.message);
        EXPECT_EQ(peer.Read(1), "");  // closed
        EXPECT_EQ(
            debug.Count(Format("GPIOServer: gpio (127.0.0.1:%u) sent %s", peer.LocalPort(), entry.defect)),
            1u);
        EXPECT_TRUE(IsServed(honest));
    }
    EXPECT_EQ(served.gpio.values["mute"], 0u);
}

TEST(GPIOServerTest, LetsBadClientsHarmNobodyElse) {
    Served served;
    const Peer peer(served.server.GetPort());
    Peer stalled(served.server.GetPort());
    for (int i = 0; i < 100; ++i)
        stalled.Write(Message(Grammar::COMMAND, {uint16_t{1}, Strings{"big 250000"}}));
    Peer noisy(served.server.GetPort());
    std::minstd_rand random(5);
    for (int i = 0; i < 200; ++i) {
        std::string bytes(20000, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random() >> 8);
        noisy.Write(bytes);
        ASSERT_TRUE(IsServed(peer));
    }
    EXPECT_LT(served.gpio.executed, 90u);  // what the stalled client asked for was not all worked out
    stalled.Reset();
    EXPECT_TRUE(IsServed(peer));
}

TEST(GPIOServerTest, CountsAndPrintsItsRequests) {
    DebugCapture debug;
    Served served;
    served.server.SetDebugLevel(2);
    const Peer peer(served.server.GetPort());
    EXPECT_TRUE(IsServed(peer));
    EXPECT_TRUE(debug.Contains(Format("GPIOServer: gpio (127.0.0.1:%u): gpio-get 9, in", peer.LocalPort())));
    std::list<std::string> statistics;
    served.server.ReportStatistics(statistics);
    const std::list<std::string> extras =
        FormatColumnarList({{"Clients", "1"}, {"Clients turned away", "0"}, {"Requests executed", "1"}});
    EXPECT_TRUE(std::equal(extras.rbegin(), extras.rend(), statistics.rbegin()));
}

TEST(GPIOServerTest, LetsNoCrowdAtTheDoorHoldUpThoseInside) {
    DebugCapture debug;
    Served served;
    served.server.SetDebugLevel(1);
    const Peer first(served.server.GetPort()), second(served.server.GetPort());
    ASSERT_TRUE(IsServed(first) && IsServed(second));
    PermanentCondition isBusy, crowdIsThere;
    std::atomic<size_t> comings{0};
    served.gpio.call = [&] {
        if (isBusy.Raise())
            crowdIsThere.WaitFor(20000);
        else
            comings = debug.CountContaining("gpio (127.0.0.1:");
    };
    first.Write(Message(Grammar::COMMAND, {uint16_t{1}, Strings{"call"}}));
    ASSERT_TRUE(isBusy.WaitFor(20000));
    second.Write(Message(Grammar::COMMAND, {uint16_t{2}, Strings{"call"}}));
    std::list<Peer> crowd;
    for (int i = 0; i < 60; ++i)
        crowd.emplace_back(served.server.GetPort());
    crowdIsThere.Raise();
    const std::string reply = Message(Grammar::TEXT, {uint16_t{2}, Strings{"call"}});
    EXPECT_EQ(Hex(second.Read(reply.size())), Hex(reply));
    EXPECT_LE(comings, 2 + 16u);  // though 60 wait
}

// Repeats what the server of a busy machine did not get round to within the client's half second.
template <class Request>
auto Patiently(Request&& request) {
    for (int tries = 40;; --tries)
        try {
            return request();
        } catch (const MonitorException& e) {
            if (tries == 0 || e.Description() != "Indirect GPIO request failed: No response from GPIO server")
                throw;
        }
}

// The library's own client, beside others and threads of this process.
TEST(GPIOServerTest, ServesOneRequestAtATime) {
    MemoryGPIO memory;
    LockedGPIOAccess gpio(memory);
    auto server = std::make_unique<GPIOServer>(nullptr, "", 0, gpio);
    const uint16_t port = server->GetPort();
    std::atomic<uint64_t> mistakes{0};
    const auto count = [&](GPIOAccess& access, const std::string& name) {
        for (uint32_t i = 1; i <= 300; ++i) {
            Patiently([&] { access.Set(name, i); });
            mistakes += Patiently([&] { return access.Get(name); }) != i;
        }
    };
    std::vector<std::thread> threads;
    threads.emplace_back([&] { count(gpio, "a"); });
    for (const char* const name : {"b", "c"})
        threads.emplace_back([&, name] {
            GPIOIndirectAccess client(LOOPBACK, port, "gpio");
            count(client, name);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mistakes, 0u);
    EXPECT_EQ(memory.meetings, 0u);

    GPIOIndirectAccess client(LOOPBACK, port, "far");
    EXPECT_EQ(client.Execute("far", {"list", "two  words", ""}),
              (std::list<std::string>{"far", "list", "two  words", ""}));
    EXPECT_EQ(ThrownMessage([&] { client.Get("none"); }),
              "Indirect GPIO request failed: GPIO: unknown signal none");
    EXPECT_EQ(client.Get("c"), 300u);
    server.reset();
    EXPECT_EQ(ThrownMessage([&] { client.Get("c"); }),
              "Indirect GPIO request failed: Connection to GPIO server broken");
    EXPECT_EQ(ThrownMessage([&] { client.Get("c"); }),
              "Indirect GPIO request failed: Could not connect to GPIO server");
    server = std::make_unique<GPIOServer>(nullptr, "", port, gpio);
    EXPECT_EQ(client.Get("c"), 300u);
}

}  // namespace
}  // namespace quarn::test
