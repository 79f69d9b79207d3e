#include "services/PeerScript.h"

#include <atomic>
#include <thread>

namespace quarn::test {
namespace {

// Signals in memory. Commands give back what they were given; "big LENGTH" gives one line of so many characters, and
// throws what is no MonitorException when LENGTH is no number.
struct MemoryGPIO final : GPIOAccess {
    uint32_t Get(const std::string& name) override {
        if (!values.contains(name))
            throw MonitorException("GPIO: unknown signal %s", name.c_str());
        return values[name];
    }
    void Set(const std::string& name, uint32_t value) override {
        EXPECT_FALSE(isVisited.exchange(true));
        std::this_thread::yield();  // to whoever would come in
        values[name] = value;
        isVisited = false;
    }
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override {
        std::list<std::string> lines(words.begin(), words.end());
        lines.push_front(command);
        return command == "big" ? std::list{std::string(std::stoul(words.at(0)), 'b')} : lines;
    }

    std::map<std::string, uint32_t> values{{"in", 3}};
    std::atomic<bool> isVisited{false};
};

struct GPIOServerTest : PeerScriptTest {
    GPIOServerTest() {
        port_ = server_.GetPort();
        title_ = "GPIOServer: ";
        odd_.Add(1000, "other", 0, VariantType::NONE);
        odd_.Add(GPIOServerGrammar::GET, "short-get", 0, VariantType::UINT16, VariantType::NONE);
        grammars_ = {&gpioGrammar_, &odd_};
    }

    const GPIOServerGrammar gpioGrammar_;
    SentenceGrammar odd_{"odd"};
    MemoryGPIO gpio_;
    const GPIOServer server_{nullptr, "", 0, gpio_};
};

TEST_F(GPIOServerTest, AnswersRequestsAndDropsWhoMakesNone) {
    Play("gpio_server.txt");
    const GPIOServer choosy(nullptr, "", 0, gpio_, SomebodyElse());
    EXPECT_EQ(Peer(choosy.GetPort()).Read(1), "");
}

TEST_F(GPIOServerTest, LetsAClientThatReadsLateWaitAlone) {
    // The most that a reply can carry: a message of 262144 bytes.
    const size_t most = 262144 - 9 - 7 - 5 - 4;
    const Peer late(port_), peer(port_);
    for (int i = 0; i < 100; ++i)
        late.Write(Bytes(Format("gpio-command|1|big %zu", most)));
    late.Write(Bytes(Format("gpio-command|1|big %zu", most + 1)));
    late.Write(Bytes("gpio-get|1|" + std::string(5000, 'n')));
    late.ShutDown();
    for (int i = 0; i < 100; ++i) {
        peer.Write(Bytes("gpio-get|9|in"));
        ASSERT_TRUE(peer.Hears(Bytes("gpio-ack|9|3")));
    }
    const std::string reply = Bytes("gpio-text|1|" + std::string(most, 'b'));
    for (int i = 0; i < 100; ++i)  // more than the system holds on its way
        ASSERT_TRUE(late.Hears(reply)) << i;
    EXPECT_TRUE(late.Hears(Bytes("gpio-exception|1|GPIO: response of 262145 bytes is too long")));
    EXPECT_TRUE(late.Hears(
        Bytes("gpio-exception|1|" + Truncate("GPIO: unknown signal " + std::string(5000, 'n'), 4096))));
}

// The library's own client, beside a thread of this process.
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
    GPIOIndirectAccess client(LOOPBACK, server.GetPort(), "far");
    std::thread other([&] { count(gpio, "near"); });
    count(client, "far");
    other.join();
    EXPECT_EQ(mistakes, 0U);
    EXPECT_EQ(gpio_.values, (std::map<std::string, uint32_t>{{"in", 3}, {"far", 300}, {"near", 300}}));
    EXPECT_EQ(client.Execute("far", {"list", "two  words", ""}),
              (std::list<std::string>{"far", "list", "two  words", ""}));
}

}  // namespace
}  // namespace quarn::test
