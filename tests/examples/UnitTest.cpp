#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "ctl/UnitClient.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"
#include "unit/Unit.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <list>

namespace unit {
namespace {

using quarn::VariantValue;
using quarn::test::DebugCapture;
using quarn::test::Eventually;
using quarn::test::Peer;
using quarn::test::ThrownMessage;

constexpr int kDeadlineMs = 10000;

/// A unit that runs from construction to destruction.
struct RunningUnit {
    explicit RunningUnit(const std::vector<Endpoint>& links = {}, const Endpoint& listen = ParseListener("0"),
                         size_t maxPeers = 8)
        : RunningUnit(Options(links, listen, maxPeers)) {}
    explicit RunningUnit(const UnitOptions& options)
        : unit(nullptr, options, quarn::DeviceIO::System(), [] {}) {
        unit.Start();
    }
    ~RunningUnit() { unit.Stop(); }

    static UnitOptions Options(const std::vector<Endpoint>& links, const Endpoint& listen, size_t maxPeers) {
        UnitOptions options;
        options.listen = listen;
        options.links = links;
        options.mirrorPatterns = {"audio.*"};
        options.maxPeers = maxPeers;
        return options;
    }
    Endpoint Address() const { return {quarn::IPAddress(std::string("127.0.0.1")), unit.GetPort()}; }

    Unit unit;
};

std::string Ask(UnitClient& client, const std::string& key) {
    client.Say(QUERY, {VariantValue(key)});
    std::string text = "(no answer)";
    for (;;) {
        const auto sentence = client.Receive(kDeadlineMs);
        if (sentence && sentence->GetDetails().GetTag() == VALUE)
            text = sentence->Word(2).As<std::string>();
        if (sentence && sentence->GetDetails().GetTag() == DONE)
            return text;
    }
}

void Set(UnitClient& client, const std::string& key, const std::string& text) {
    const quarn::VariableDetails& variable = client.Dictionary().Find(key);
    client.Set(variable, VariantValue(variable.GetType(), text));
}

bool Becomes(UnitClient& client, const std::string& key, const std::string& text) {
    const uint64_t start = quarn::Tick();
    while (Ask(client, key) != text)
        if (quarn::MillisecondsSince(start) > kDeadlineMs)
            return false;
    return true;
}

TEST(UnitTest, SetsTellsAndRefuses) {
    DebugCapture debug;
    RunningUnit unit;
    UnitClient client(unit.Address(), 2000);
    UnitClient watcher(unit.Address(), 2000);
    watcher.Say(SUBSCRIBE, {VariantValue(std::vector<std::string>{"rf.pairing-code", "audio.out*"})});
    for (const char* key : {"rf.pairing-code", "audio.outputs"}) {
        ASSERT_EQ(watcher.Receive(kDeadlineMs), nullptr);
        EXPECT_EQ(watcher.Received().ToVariable(watcher.Dictionary()).GetDetails().GetKey(), key);
    }

    Set(client, "audio.gain-db", "-3");  // the watcher did not ask for it
    Set(client, "audio.outputs", "main \"front left\"");
    ASSERT_EQ(watcher.Receive(kDeadlineMs), nullptr);
    EXPECT_EQ(watcher.Received().ToVariable(watcher.Dictionary()).GetValue().ToString(), "main front left");
    EXPECT_EQ(Ask(client, "audio.gain-db"), "-3.000000");

    const std::string refused = "The unit at " + unit.Address().ToString() + " refused: ";
    const auto answerTo = [&](auto&& say) {
        return ThrownMessage([&] {
            say();
            client.Receive(kDeadlineMs);
        });
    };
    EXPECT_EQ(answerTo([&] { Set(client, "rf.rssi-dbm", "1"); }),
              refused + "rf.rssi-dbm: Attempted to set unsettable variant reference");
    const quarn::VariableDictionary foreign("foreign");
    EXPECT_EQ(answerTo([&] {
                  client.Set(quarn::VariableDetails(99, "x", foreign, quarn::VariantType::UINT8), uint8_t{1});
              }),
              refused + "0x00000063: there is no such variable");
    EXPECT_EQ(answerTo([&] {
                  client.Set(quarn::VariableDetails(RF_CHANNEL, "x", foreign, quarn::VariantType::UINT16),
                             uint16_t{1});
              }),
              refused + "rf.channel: Blob of type UINT8 should contain 1 bytes; have 2");
    EXPECT_EQ(answerTo([&] { client.Say(SUBSCRIBE, {}); }),
              refused + "subscribe: Message contained only 0 of 1 word(s)");
}

TEST(UnitTest, TurnsAwayMorePeersThanItWants) {
    DebugCapture debug;
    RunningUnit unit({}, ParseListener("0"), 2);
    UnitClient first(unit.Address(), 2000);
    UnitClient second(unit.Address(), 2000);
    ASSERT_EQ(Ask(first, "rf.channel"), "1");
    ASSERT_EQ(Ask(second, "rf.channel"), "1");
    EXPECT_EQ(Peer(unit.unit.GetPort()).Read(1), "");  // closed
    EXPECT_EQ(debug.CountContaining("2 peers are enough"), 1U);
    EXPECT_EQ(Ask(first, "rf.channel"), "1");
}

TEST(UnitTest, LetsNoCrowdAtTheDoorHoldUpThoseInside) {
    DebugCapture debug;
    RunningUnit running({}, ParseListener("0"), 1);
    UnitClient inside(running.Address(), kDeadlineMs);
    Ask(inside, "rf.channel");
    std::list<Peer> crowd;
    ASSERT_TRUE(running.unit.Lock());
    for (int i = 0; i < 60; ++i)
        crowd.emplace_back(running.unit.GetPort());
    Set(inside, "rf.channel", "7");
    running.unit.Unlock();
    ASSERT_EQ(crowd.back().Read(1), "");
    ASSERT_TRUE(Becomes(inside, "rf.channel", "7"));
    size_t turnedAwayBefore = 0;
    for (const std::string& line : debug.Lines()) {
        if (line.starts_with("rf.channel is \"7\""))
            break;
        turnedAwayBefore += line.starts_with("Turned away ");
    }
    EXPECT_LE(turnedAwayBefore, 2 * 16u);  // what had come when the unit last looked, and once more
}

TEST(UnitTest, MirrorsBothWaysAndFindsItsPeerAgain) {
    DebugCapture debug(0);
    auto hub = std::make_unique<RunningUnit>();
    const Endpoint address = hub->Address();
    auto atHub = std::make_unique<UnitClient>(address, 2000);
    Set(*atHub, "audio.mute", "true");
    RunningUnit leaf({address});
    UnitClient atLeaf(leaf.Address(), 2000);
    EXPECT_TRUE(Becomes(atLeaf, "audio.mute", "1"));
    Set(atLeaf, "audio.gain-db", "7");
    EXPECT_TRUE(Becomes(*atHub, "audio.gain-db", "7.000000"));
    Set(*atHub, "rf.channel", "9");  // not mirrored
    Set(*atHub, "audio.gain-db", "8");
    EXPECT_TRUE(Becomes(atLeaf, "audio.gain-db", "8.000000"));
    EXPECT_EQ(Ask(atLeaf, "rf.channel"), "1");

    atHub.reset();
    hub.reset();
    hub = std::make_unique<RunningUnit>(std::vector<Endpoint>{}, address);
    EXPECT_TRUE(Becomes(atLeaf, "audio.mute", "0"));  // the hub's word, with its start values
    Set(atLeaf, "audio.delay-samples", "5");
    UnitClient again(address, 2000);
    EXPECT_TRUE(Becomes(again, "audio.delay-samples", "5"));
}

TEST(UnitTest, SaysThatItsSettingsDoNotFitABlock) {
    const quarn::test::TempDirectory folder;
    folder.Write("settings", std::string(8192, '\xFF'));
    DebugCapture debug;
    UnitOptions options = RunningUnit::Options({}, ParseListener("0"), 8);
    options.state.devices = {"eeprom:" + folder.File("settings")};
    options.state.blockSize = 128;
    const RunningUnit tight(options);
    EXPECT_EQ(debug.CountContaining("more than a block of 128"), 1U);
}

TEST(UnitTest, ReportsToAWatchdogAndFindsItAgain) {
    DebugCapture debug(0);
    quarn::TCPListener service(quarn::IPAddress(std::string("127.0.0.1")), 0);
    UnitOptions options = RunningUnit::Options({}, ParseListener("0"), 8);
    options.watchdog = ParsePeer("127.0.0.1:" + std::to_string(service.GetPort()));
    RunningUnit unit(options);
    for (int life = 0; life < 2; ++life) {
        std::unique_ptr<quarn::TCPConnection> connection;
        ASSERT_TRUE(
            Eventually([&] { return (connection.reset(service.Accept("unit")), connection != nullptr); }));
        quarn::LineTerminal terminal(*connection);
        std::string line;
        ASSERT_TRUE(Eventually([&] { return (terminal.Work(), terminal.Get(line)); }));
        EXPECT_EQ(line, "update receiver " + std::to_string(getpid()));
    }
}

TEST(UnitTest, TakesFilesIntoItsFolderOnly) {
    const quarn::test::TempDirectory folder;
    DebugCapture debug;
    UnitOptions options = RunningUnit::Options({}, ParseListener("0"), 8);
    {
        RunningUnit closed(options);
        UnitClient client(closed.Address(), 2000);
        client.Say(OFFER, {VariantValue("image.bin")});
        EXPECT_EQ(
            ThrownMessage([&] { client.Receive(kDeadlineMs); }),
            "The unit at " + closed.Address().ToString() + " refused: offer: this unit receives no files");
    }
    options.inbox = folder.Path();
    const std::vector<std::string> strangers = {".0123ABCD.part", ".other.0123abcd.part", ".other.part"};
    for (const std::string& name : strangers)
        folder.Write(name, "");
    folder.Write(".left.0123ABCD.part", "of a unit that was killed");
    RunningUnit unit(options);
    EXPECT_EQ(folder.Names(), strangers);
    for (const std::string& name : strangers)
        remove(folder.File(name).c_str());
    UnitClient client(unit.Address(), 2000);
    for (const std::string name : {"", ".", "..", "../x", "/etc/x", "a/b", "a..b", ".hidden"}) {
        client.Say(OFFER, {VariantValue(name)});
        EXPECT_EQ(ThrownMessage([&] { client.Receive(kDeadlineMs); }),
                  "The unit at " + unit.Address().ToString() + " refused: offer: \"" + name +
                      "\" is not a name for a received file");
    }
    std::string contents;
    while (contents.size() < 300000)
        contents += std::to_string(contents.size());
    folder.Write("source", contents);
    client.Say(OFFER, {VariantValue("image.bin")});
    const auto accepted = client.Receive(kDeadlineMs);
    ASSERT_EQ(accepted->GetDetails().GetTag(), ACCEPTED);
    const quarn::BulkTransferSender sender(nullptr, folder.File("source"), accepted->Word(0).As<uint32_t>(),
                                           unit.Address().address, accepted->Word(1).As<uint16_t>(), 65536);
    const auto arrived = client.Receive(kDeadlineMs);
    ASSERT_EQ(arrived->GetDetails().GetTag(), ARRIVED);
    EXPECT_TRUE(arrived->Word(1).As<bool>());
    EXPECT_EQ(folder.Names(), (std::vector<std::string>{"image.bin", "source"}));
    EXPECT_TRUE(folder.Read("image.bin") == contents);

    client.Say(OFFER, {VariantValue("image.bin")});  // and then nobody sends it
    ASSERT_EQ(client.Receive(kDeadlineMs)->GetDetails().GetTag(), ACCEPTED);
    EXPECT_FALSE(client.Receive(kDeadlineMs)->Word(1).As<bool>());
    EXPECT_EQ(folder.Names(), (std::vector<std::string>{"image.bin", "source"}));
    EXPECT_TRUE(folder.Read("image.bin") == contents);
}

}  // namespace
}  // namespace unit
