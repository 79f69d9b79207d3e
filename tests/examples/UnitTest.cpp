#include <quarn/BulkTransferSender.h>
#include <quarn/CRC16.h>
#include <quarn/LineTerminal.h>
#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/TCPListener.h>
#include <quarn/Variable.h>
#include <quarn/VariableDetails.h>

#include "ctl/UnitClient.h"
#include "support/CountDescriptors.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"
#include "unit/Unit.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <poll.h>
#include <stdio.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <list>
#include <random>

namespace unit {
namespace {

using quarn::VariantValue;
using quarn::test::DebugCapture;
using quarn::test::Eventually;
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

/// A plain socket that says whatever a test wants it to.
class Stranger {
public:
    explicit Stranger(const Endpoint& unit) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(unit.port);
        address.sin_addr = unit.address.ToInAddr();
        if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw quarn::MonitorException("a stranger cannot connect");
    }
    ~Stranger() { close(fd_); }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;

    /// Sends for as long as the unit takes it, and gives up when it does not for a while.
    void Send(const std::string& bytes, size_t times = 1) const {
        for (; times > 0; --times)
            for (size_t sent = 0; sent < bytes.size();) {
                pollfd writable{fd_, POLLOUT, 0};
                if (poll(&writable, 1, 200) <= 0)
                    return;
                const ssize_t n =
                    send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
                if (n <= 0)
                    return;
                sent += static_cast<size_t>(n);
            }
    }
    bool IsClosedByUnit() const {
        pollfd readable{fd_, POLLIN, 0};
        char byte;
        return poll(&readable, 1, kDeadlineMs) > 0 && recv(fd_, &byte, 1, MSG_DONTWAIT) <= 0;
    }

private:
    int fd_;
};

std::string Garbage(size_t length) {
    std::mt19937 random(20);
    std::string bytes(length, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    return bytes;
}

/// A good header of a message of nearly 4 GiB.
std::string Giant() {
    std::string header("\xA6\xFF\xFF\xFF\xF0\x00\x03\x00\x01", 9);
    const uint16_t crc =
        quarn::CRC16::Compute(0, reinterpret_cast<const uint8_t*>(header.data()), header.size());
    header += static_cast<char>(crc >> 8);
    header += static_cast<char>(crc);
    return header;
}

std::string QueryEverything() {
    const UnitGrammar grammar;
    const quarn::OutgoingMessage query(*grammar.Find(QUERY, true), {VariantValue("*")});
    return std::string(reinterpret_cast<const char*>(query.Sync()), query.Bytes());
}

size_t ResidentKiB() {
    size_t pages = 0;
    FILE* file = fopen("/proc/self/statm", "re");
    if (file && fscanf(file, "%*u %zu", &pages) != 1)
        pages = 0;
    if (file)
        fclose(file);
    return pages * 4;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kAllowedGrowthKiB = 1 << 20;  // the sanitizer's own memory
#else
constexpr size_t kAllowedGrowthKiB = 8192;
#endif

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

TEST(UnitTest, BadPeersCostNothingButTheirOwnConnection) {
    DebugCapture debug(0);
    RunningUnit unit;
    UnitClient honest(unit.Address(), 2000);
    Set(honest, "audio.gain-db", "1");
    ASSERT_EQ(Ask(honest, "audio.gain-db"), "1.000000");
    const size_t descriptors = quarn::test::CountDescriptors();
    const size_t resident = ResidentKiB();
    {
        const Stranger garbler(unit.Address());
        const Stranger halfway(unit.Address());
        const Stranger giant(unit.Address());
        const Stranger neverReads(unit.Address());
        halfway.Send(QueryEverything().substr(0, 12));
        giant.Send(Giant());
        for (int round = 0; round < 8; ++round) {
            garbler.Send(Garbage(100000));
            giant.Send(std::string(100000, '\0'));
            neverReads.Send(QueryEverything(), 1500);
            Set(honest, "audio.delay-samples", std::to_string(round));
            ASSERT_EQ(Ask(honest, "audio.delay-samples"), std::to_string(round));
        }
        EXPECT_LT(ResidentKiB(), resident + kAllowedGrowthKiB);
    }
    const uint64_t start = quarn::Tick();
    while (quarn::test::CountDescriptors() != descriptors && quarn::MillisecondsSince(start) < kDeadlineMs)
        Ask(honest, "audio.delay-samples");
    EXPECT_EQ(quarn::test::CountDescriptors(), descriptors);
    EXPECT_EQ(Ask(honest, "audio.gain-db"), "1.000000");
}

TEST(UnitTest, TurnsAwayMorePeersThanItWants) {
    DebugCapture debug;
    RunningUnit unit({}, ParseListener("0"), 2);
    UnitClient first(unit.Address(), 2000);
    UnitClient second(unit.Address(), 2000);
    ASSERT_EQ(Ask(first, "rf.channel"), "1");
    ASSERT_EQ(Ask(second, "rf.channel"), "1");
    EXPECT_TRUE(Stranger(unit.Address()).IsClosedByUnit());
    EXPECT_EQ(debug.CountContaining("2 peers are enough"), 1U);
    EXPECT_EQ(Ask(first, "rf.channel"), "1");
}

TEST(UnitTest, LetsNoCrowdAtTheDoorHoldUpThoseInside) {
    DebugCapture debug;
    RunningUnit running({}, ParseListener("0"), 1);
    UnitClient inside(running.Address(), kDeadlineMs);
    Ask(inside, "rf.channel");
    std::list<Stranger> crowd;
    ASSERT_TRUE(running.unit.Lock());
    for (int i = 0; i < 60; ++i)
        crowd.emplace_back(running.Address());
    Set(inside, "rf.channel", "7");
    running.unit.Unlock();
    ASSERT_TRUE(crowd.back().IsClosedByUnit());
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

TEST(UnitTest, KeepsItsSettingsAndNotItsMeasurements) {
    const quarn::test::TempDirectory folder;
    folder.Write("settings", std::string(8192, '\xFF'));
    DebugCapture debug;
    UnitOptions options = RunningUnit::Options({}, ParseListener("0"), 8);
    options.state.devices = {"eeprom:" + folder.File("settings")};
    options.state.blockSize = 4096;
    options.state.intervalMs = 3600000;  // after the first save only the end saves
    for (const char* frequency : {"615500", "618250"}) {
        RunningUnit unit(options);
        UnitClient client(unit.Address(), 2000);
        Set(client, "rf.channel", "7");
        Set(client, "rf.frequency-khz", frequency);
        ASSERT_EQ(Ask(client, "rf.frequency-khz"), frequency);
    }
    RunningUnit unit(options);
    UnitClient client(unit.Address(), 2000);
    EXPECT_EQ(Ask(client, "rf.channel"), "7");
    EXPECT_EQ(Ask(client, "rf.frequency-khz"), "618250");
    EXPECT_EQ(debug.CountContaining("Exception processing"), 0U);

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
    const std::string contents = Garbage(300000);
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
