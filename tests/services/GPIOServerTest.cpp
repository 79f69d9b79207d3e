#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <map>
#include <mutex>
#include <thread>

namespace quarn::test {
namespace {

using Grammar = GPIOServerGrammar;

// Signals in memory. Commands give back what they were given; "big LENGTH" gives one line of so many characters, and
// throws what is no MonitorException when LENGTH is no number.
class MemoryGPIO final : public GPIOAccess {
public:
    uint32_t Get(const std::string& name) override {
        const auto visit = Visit();
        const auto found = values.find(name);
        if (found == values.end())
            throw MonitorException("GPIO: unknown signal %s", name.c_str());
        return found->second;
    }
    void Set(const std::string& name, uint32_t value) override {
        const auto visit = Visit();
        values[name] = value;
    }
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override {
        std::list<std::string> lines(words.begin(), words.end());
        lines.push_front(command);
        return command == "big" ? std::list{std::string(std::stoul(words.at(0)), 'b')} : lines;
    }

    std::map<std::string, uint32_t> values{{"in", 3}};
    std::atomic<uint64_t> meetings{0};  // calls that met another one

private:
    std::unique_lock<std::mutex> Visit() {
        std::unique_lock visit(isVisited_, std::try_to_lock);
        meetings += !visit.owns_lock();
        std::this_thread::yield();  // to whoever would come in
        return visit;
    }
    std::mutex isVisited_;
};

std::string Message(uint32_t tag, const std::vector<VariantValue>& words) {
    return WireBytes(Grammar(), tag, words);
}

using Strings = std::vector<std::string>;

// Whether the server answers this client's request as it should.
bool IsServed(const Peer& peer) {
    peer.Write(Message(Grammar::GET, {uint16_t{9}, "in"}));
    return peer.Hears(Message(Grammar::ACK, {uint16_t{9}, 3u}));
}

class GPIOServerTest : public testing::Test {
protected:
    DebugCapture debug_;
    MemoryGPIO gpio_;
    GPIOServer server_{nullptr, "", 0, gpio_};
    const uint16_t port_ = server_.GetPort();
};

TEST_F(GPIOServerTest, AnswersRequests) {
    // The most that a reply can carry: a message of 262144 bytes.
    const size_t most = 262144 - 9 - 7 - 5 - 4;
    const std::string longName(5000, 'n'), tooLong = "GPIO: response of 262145 bytes is too long";
    const std::tuple<uint32_t, std::vector<VariantValue>, uint32_t, VariantValue> cases[] = {
        {Grammar::GET, {"none"}, Grammar::EXCEPTION, "GPIO: unknown signal none"},
        {Grammar::GET, {longName}, Grammar::EXCEPTION, Truncate("GPIO: unknown signal " + longName, 4096)},
        {Grammar::SET, {"mute", 0xFFFFFFFFu}, Grammar::ACK, 0xFFFFFFFFu},
        {Grammar::GET, {"mute"}, Grammar::ACK, 0xFFFFFFFFu},
        {Grammar::COMMAND, {Strings{"far \"a b\"", "\"\""}}, Grammar::TEXT, Strings{"far", "a b", ""}},
        {Grammar::COMMAND, {Strings{}}, Grammar::EXCEPTION, "GPIO: no command"},
        {Grammar::COMMAND, {Strings{"a\"b"}}, Grammar::EXCEPTION, "Double-quote within token"},
        {Grammar::COMMAND, {Strings{"big x"}}, Grammar::EXCEPTION, "stoul"},
        {Grammar::COMMAND,
         {Strings{Format("big %zu", most)}},
         Grammar::TEXT,
         Strings{std::string(most, 'b')}},
        {Grammar::COMMAND, {Strings{Format("big %zu", most + 1)}}, Grammar::EXCEPTION, tooLong},
    };
    const Peer peer(port_);
    std::string requests;
    Lines replies;
    uint16_t actionID = 0xFFF8;
    for (auto [request, words, reply, answer] : cases) {
        words.insert(words.begin(), actionID);
        requests += Message(request, words);
        replies.push_back(Message(reply, {actionID++, answer}));
    }
    peer.Write(requests);  // all at once, and an end of input that overtakes the replies
    peer.ShutDown();
    for (const std::string& reply : replies)
        EXPECT_TRUE(peer.Hears(reply)) << &reply - &replies[0];
    EXPECT_EQ(peer.Read(1), "");
}

TEST_F(GPIOServerTest, DropsAClientThatAsksForNothingOrIsNotAllowed) {
    SentenceGrammar other("other");
    other.Add(Grammar::GET, "get", 0, VariantType::UINT16, VariantType::NONE);
    other.Add(Grammar::SET, "set", 0, VariantType::UINT16, VariantType::STRING, VariantType::STRING,
              VariantType::NONE);
    other.Add(1000, "other", 0, VariantType::NONE);
    const std::pair<std::string, const char*> cases[] = {
        {WireBytes(other, 1000, {}), "tag 0x000003E8: not a request"},
        {WireBytes(other, Grammar::GET, {uint16_t{1}}),
         "tag 0x00000101: Message contained only 1 of 2 word(s)"},
        {WireBytes(other, Grammar::SET, {uint16_t{1}, "in", "1"}),
         "tag 0x00000102: Blob of type UINT32 should contain 4 bytes; have 1"},
        {Message(Grammar::ACK, {uint16_t{1}, 1u}), "tag 0x00000301: not a request"},
    };
    const Peer honest(port_);
    for (const auto& [message, defect] : cases) {
        const Peer peer(port_);
        peer.Write(message);
        EXPECT_EQ(peer.Read(1), "");  // closed
        EXPECT_TRUE(
            debug_.Contains(Format("GPIOServer: gpio (127.0.0.1:%u) sent %s", peer.LocalPort(), defect)));
        EXPECT_TRUE(IsServed(honest));
    }
    const GPIOServer choosy(nullptr, "", 0, gpio_, SomebodyElse());
    EXPECT_EQ(Peer(choosy.GetPort()).Read(1), "");
}

TEST_F(GPIOServerTest, LetsAClientThatReadsLateWaitAlone) {
    const Peer late(port_), peer(port_);
    for (int i = 0; i < 100; ++i)
        late.Write(Message(Grammar::COMMAND, {uint16_t{1}, Strings{"big 250000"}}));
    late.ShutDown();
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(IsServed(peer));
    const std::string reply = Message(Grammar::TEXT, {uint16_t{1}, Strings{std::string(250000, 'b')}});
    for (int i = 0; i < 100; ++i)  // more than the system holds on its way
        ASSERT_TRUE(late.Hears(reply)) << i;
}

// The library's own client, beside others and threads of this process.
TEST_F(GPIOServerTest, ServesOneRequestAtATime) {
    LockedGPIOAccess gpio(gpio_);
    const GPIOServer server(nullptr, "", 0, gpio);
    std::atomic<uint64_t> mistakes{0};
    const auto count = [&](GPIOAccess& access, const std::string& name) {
        for (uint32_t i = 1, failures = 0; i <= 300 && failures < 40;)
            try {
                access.Set(name, i);
                mistakes += access.Get(name) != i;
                ++i;
            } catch (const MonitorException&) {
                ++failures;  // the server of a busy machine did not get round to it within half a second
            }
    };
    std::thread threads[3];
    for (int i = 0; i < 3; ++i)
        threads[i] = std::thread([&, i] {
            GPIOIndirectAccess client(LOOPBACK, server.GetPort(), "gpio");
            count(i == 0 ? static_cast<GPIOAccess&>(gpio) : client, std::to_string(i));
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mistakes, 0U);
    EXPECT_EQ(gpio_.meetings, 0U);
    EXPECT_EQ(gpio_.values, (std::map<std::string, uint32_t>{{"in", 3}, {"0", 300}, {"1", 300}, {"2", 300}}));
    GPIOIndirectAccess client(LOOPBACK, server.GetPort(), "far");
    EXPECT_EQ(client.Execute("far", {"list", "two  words", ""}),
              (std::list<std::string>{"far", "list", "two  words", ""}));
}

}  // namespace
}  // namespace quarn::test
