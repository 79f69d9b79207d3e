#include "examples/ExampleTest.h"
#include "unit/Devices.h"

#include <fcntl.h>

#include <algorithm>

namespace unit {
namespace {

using quarn::test::Peer;

bool Becomes(UnitClient& client, const std::string& key, const std::string& text) {
    return Eventually([&] { return Ask(client, key) == text; });
}

TEST(UnitTest, LetsNoCrowdAtTheDoorHoldUpThoseInside) {
    DebugCapture debug;
    RunningUnit running(With([](auto& options) { options.maxPeers = 1; }));
    UnitClient inside(running.Address(), kAnswerMs);
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
    const quarn::test::Lines lines = debug.Lines();
    const auto set =
        std::ranges::find_if(lines, [](auto& line) { return line.starts_with("rf.channel is "); });
    const auto turnedAwayBefore =
        std::count_if(lines.begin(), set, [](auto& line) { return line.starts_with("Turned away "); });
    EXPECT_LE(turnedAwayBefore, 2 * 16);  // what had come when the unit last looked, and once more
}

TEST(UnitTest, TellsSubscribersMirrorsBothWaysAndFindsItsPeerAgain) {
    DebugCapture debug(0);
    std::optional<RunningUnit> hub(std::in_place);
    const Endpoint address = hub->Address();
    std::optional<UnitClient> atHub(std::in_place, address, kAnswerMs);
    Set(*atHub, "audio.mute", "true");
    const RunningUnit leaf(With([&](auto& options) { options.links = {address}; }));
    UnitClient atLeaf(leaf.Address(), kAnswerMs), watcher(leaf.Address(), kAnswerMs);
    EXPECT_TRUE(Becomes(atLeaf, "audio.mute", "1"));
    const auto told = [&] {
        EXPECT_EQ(watcher.Receive(kAnswerMs), nullptr);
        const quarn::Variable variable = watcher.Received().ToVariable(watcher.Dictionary());
        return variable.GetDetails().GetKey() + " = " + variable.GetValue().ToString();
    };
    watcher.Say(SUBSCRIBE, {VariantValue(std::vector<std::string>{"rf.channel", "audio.out*"})});
    EXPECT_EQ(told(), "rf.channel = 1");
    EXPECT_EQ(told(), "audio.outputs = analog digital");
    Set(atLeaf, "rf.channel", "1");     // it is that already
    Set(atLeaf, "audio.gain-db", "7");  // the watcher did not ask for it
    EXPECT_TRUE(Becomes(*atHub, "audio.gain-db", "7.000000"));
    Set(*atHub, "rf.channel", "9");  // not mirrored
    Set(*atHub, "audio.outputs", "main \"front left\"");
    EXPECT_EQ(told(), "audio.outputs = main front left");
    Set(atLeaf, "audio.outputs", "analog digital");
    EXPECT_EQ(told(), "audio.outputs = analog digital");

    atHub.reset();
    hub.reset();
    hub.emplace(With([&](auto& options) { options.listen = address; }));
    EXPECT_TRUE(Becomes(atLeaf, "audio.mute", "0"));  // the hub's word, with its start values
    Set(atLeaf, "audio.delay-samples", "5");
    EXPECT_TRUE(Becomes(atHub.emplace(address, kAnswerMs), "audio.delay-samples", "5"));
}

TEST(UnitTest, ReportsToAWatchdogAndFindsItAgain) {
    DebugCapture debug(0);
    quarn::TCPListener service(LOOPBACK, 0);
    const Endpoint address{LOOPBACK, service.GetPort()};
    const RunningUnit unit(With([&](auto& options) { options.watchdog = address; }));
    for (int life = 0; life < 2; ++life)
        EXPECT_TRUE(Peer(service).Hears("update receiver " + std::to_string(getpid()) + "\n"));
}

TEST(UnitTest, TakesFilesIntoItsFolderOnlyAndMindsTheSizeOfItsSettings) {
    DebugCapture debug;
    const auto refusal = [](const RunningUnit& unit, const std::string& name) {
        UnitClient client(unit.Address(), kAnswerMs);
        client.Say(OFFER, {VariantValue(name)});
        const std::string text = ThrownMessage([&] { client.Receive(kAnswerMs); });
        return text.substr(text.find(" refused: "));
    };
    EXPECT_EQ(refusal(RunningUnit(), "image"), " refused: offer: this unit receives no files");

    const TempDirectory folder, settings;
    settings.Write("settings", std::string(8192, '\xFF'));
    const std::vector<std::string> there = {".0123ABCD.part", ".other.0123abcd.part", ".other.part", "image"};
    for (const std::string& name : there)
        folder.Write(name, "contents");
    folder.Write(".left.0123ABCD.part", "of a unit that was killed");
    const RunningUnit unit(With([&](auto& options) {
        options.inbox = folder.Path();
        options.state.devices = {"eeprom:" + settings.File("settings")};
        options.state.blockSize = 128;
    }));
    EXPECT_EQ(debug.CountContaining("more than a block of "), 1U);
    EXPECT_EQ(folder.Names(), there);
    for (const std::string name : {"", ".", "..", "../x", "/etc/x", "a/b", "a..b", ".hidden"})
        EXPECT_EQ(refusal(unit, name), " refused: offer: \"" + name + "\" is not a name for a received file");
    UnitClient client(unit.Address(), kAnswerMs);
    client.Say(OFFER, {VariantValue("image")});  // and then nobody sends it
    ASSERT_EQ(client.Receive(kAnswerMs)->GetDetails().GetTag(), ACCEPTED);
    EXPECT_FALSE(client.Receive(kAnswerMs)->Word(1).As<bool>());
    EXPECT_EQ(folder.Names(), there);
    EXPECT_EQ(folder.Read("image"), "contents");
}

// The example configuration is for the board that is simulated by default. Most lines of board.txt are from its comments.
TEST(UnitTest, HasAnExampleConfigurationThatFitsTheBuiltInBoard) {
    DebugCapture debug;
    Board board("simulated");
    EXPECT_GE(board.IO().Open("/dev/mtd0", O_RDWR), 0);
    const quarn::MicrosecondClockHardware timer(0xFF110000, board.IO());
    RunningUnit running;
    DeviceOptions options;
    options.configuration = QUARN_EXAMPLES "/board.conf";
    options.console = ParseListener("0");
    const Devices devices(nullptr, board, running.unit, options);
    EXPECT_EQ(debug.RawLines(), quarn::test::Lines()) << "complaints of the configuration";
    ConsoleClient console({LOOPBACK, devices.GetConsolePort()}, kAnswerMs);
    for (const auto& [where, line, response] : quarn::test::ReadExchanges("board.txt"))
        EXPECT_EQ(console.Execute(line, kAnswerMs), response) << where << ": " << line;
}

}  // namespace
}  // namespace unit
