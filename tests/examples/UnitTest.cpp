#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "examples/Ask.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"
#include "unit/Unit.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <list>

namespace unit {
namespace {

using quarn::VariantValue;
using quarn::test::DebugCapture;
using quarn::test::Eventually;
using quarn::test::Peer;
using quarn::test::ThrownMessage;

constexpr int kDeadlineMs = 10000;

/// A unit that runs from construction to destruction, and mirrors the sound.
struct RunningUnit {
    explicit RunningUnit(const UnitOptions& options = {})
        : unit(nullptr, Complete(options), quarn::DeviceIO::System(), [] {}) {
        unit.Start();
    }
    ~RunningUnit() { unit.Stop(); }

    static UnitOptions Complete(UnitOptions options) {
        options.listen.address = quarn::test::LOOPBACK;
        options.mirrorPatterns = {"audio.*"};
        return options;
    }
    Endpoint Address() const { return {quarn::test::LOOPBACK, unit.GetPort()}; }

    Unit unit;
};

bool Becomes(UnitClient& client, const std::string& key, const std::string& text) {
    return Eventually([&] { return Ask(client, key) == text; });
}

TEST(UnitTest, TellsSubscribersOfChanges) {
    DebugCapture debug;
    RunningUnit unit;
    UnitClient client(unit.Address(), 2000);
    UnitClient watcher(unit.Address(), 2000);
    const auto told = [&] {
        EXPECT_EQ(watcher.Receive(kDeadlineMs), nullptr);
        const quarn::Variable variable = watcher.Received().ToVariable(watcher.Dictionary());
        return variable.GetDetails().GetKey() + " = " + variable.GetValue().ToString();
    };
    watcher.Say(SUBSCRIBE, {VariantValue(std::vector<std::string>{"rf.channel", "audio.out*"})});
    EXPECT_EQ(told(), "rf.channel = 1");
    EXPECT_EQ(told(), "audio.outputs = analog digital");
    Set(client, "audio.gain-db", "-3");  // the watcher did not ask for it
    Set(client, "rf.channel", "1");      // it is that already
    Set(client, "audio.outputs", "main \"front left\"");
    EXPECT_EQ(told(), "audio.outputs = main front left");
    Set(client, "audio.outputs", "analog digital");
    EXPECT_EQ(told(), "audio.outputs = analog digital");
    EXPECT_EQ(Ask(client, "audio.gain-db"), "-3.000000");
}

TEST(UnitTest, LetsNoCrowdAtTheDoorHoldUpThoseInside) {
    DebugCapture debug;
    UnitOptions options;
    options.maxPeers = 1;
    RunningUnit running(options);
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
    EXPECT_EQ(debug.CountContaining(": 1 peers are enough"), 60U);
    const std::vector<std::string> lines = debug.Lines();
    const auto set = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.starts_with("rf.channel is \"7\"");
    });
    const auto turnedAwayBefore = std::count_if(
        lines.begin(), set, [](const std::string& line) { return line.starts_with("Turned away "); });
    EXPECT_LE(turnedAwayBefore, 2 * 16);  // what had come when the unit last looked, and once more
}

TEST(UnitTest, MirrorsBothWaysAndFindsItsPeerAgain) {
    DebugCapture debug(0);
    auto hub = std::make_unique<RunningUnit>();
    const Endpoint address = hub->Address();
    auto atHub = std::make_unique<UnitClient>(address, 2000);
    Set(*atHub, "audio.mute", "true");
    UnitOptions options;
    options.links = {address};
    RunningUnit leaf(options);
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
    options = {};
    options.listen = address;
    hub = std::make_unique<RunningUnit>(options);
    EXPECT_TRUE(Becomes(atLeaf, "audio.mute", "0"));  // the hub's word, with its start values
    Set(atLeaf, "audio.delay-samples", "5");
    UnitClient again(address, 2000);
    EXPECT_TRUE(Becomes(again, "audio.delay-samples", "5"));
}

TEST(UnitTest, SaysThatItsSettingsDoNotFitABlock) {
    const quarn::test::TempDirectory folder;
    folder.Write("settings", std::string(8192, '\xFF'));
    DebugCapture debug;
    UnitOptions options;
    options.state.devices = {"eeprom:" + folder.File("settings")};
    options.state.blockSize = 128;
    const RunningUnit tight(options);
    EXPECT_EQ(debug.CountContaining("more than a block of 128"), 1U);
}

TEST(UnitTest, ReportsToAWatchdogAndFindsItAgain) {
    DebugCapture debug(0);
    quarn::TCPListener service(quarn::IPAddress(std::string("127.0.0.1")), 0);
    UnitOptions options;
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
    UnitOptions options;
    const auto refusal = [](const RunningUnit& unit, const std::string& name) {
        UnitClient client(unit.Address(), 2000);
        client.Say(OFFER, {VariantValue(name)});
        return ThrownMessage([&] { client.Receive(kDeadlineMs); });
    };
    const RunningUnit closed(options);
    EXPECT_EQ(refusal(closed, "image"),
              "The unit at " + closed.Address().ToString() + " refused: offer: this unit receives no files");

    options.inbox = folder.Path();
    const std::vector<std::string> there = {".0123ABCD.part", ".other.0123abcd.part", ".other.part", "image"};
    for (const std::string& name : there)
        folder.Write(name, "contents");
    folder.Write(".left.0123ABCD.part", "of a unit that was killed");
    const RunningUnit unit(options);
    EXPECT_EQ(folder.Names(), there);
    for (const std::string name : {"", ".", "..", "../x", "/etc/x", "a/b", "a..b", ".hidden"})
        EXPECT_EQ(refusal(unit, name), "The unit at " + unit.Address().ToString() + " refused: offer: \"" +
                                           name + "\" is not a name for a received file");
    UnitClient client(unit.Address(), 2000);
    client.Say(OFFER, {VariantValue("image")});  // and then nobody sends it
    ASSERT_EQ(client.Receive(kDeadlineMs)->GetDetails().GetTag(), ACCEPTED);
    EXPECT_FALSE(client.Receive(kDeadlineMs)->Word(1).As<bool>());
    EXPECT_EQ(folder.Names(), there);
    EXPECT_EQ(folder.Read("image"), "contents");
}

}  // namespace
}  // namespace unit
