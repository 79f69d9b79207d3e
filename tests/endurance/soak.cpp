/// Two units with everything on, for long: fails when memory, descriptors or threads grow, when a unit does not report
/// to its watchdog in time, and when a message is applied wrongly.
///
/// usage: soak FOLDER-OF-PROGRAMS MINUTES

#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include "ctl/ConsoleClient.h"
#include "endurance/Chore.h"
#include "endurance/HonestPeer.h"
#include "endurance/UnitProcess.h"
#include "endurance/WatchdogService.h"
#include "support/TempDirectory.h"

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <list>
#include <map>
#include <memory>
#include <random>

namespace endurance {
namespace {

using quarn::Format;
using quarn::MonitorException;

constexpr uint32_t kAnswerMs = 30000;
constexpr uint32_t kSampleMs = 5000;
constexpr uint64_t kWatchdogLimitUs = 2000000;  // eight reports, on a machine that may be busy
constexpr size_t kAllowedGrowthKiB = 512;
constexpr int32_t kAllowedClockErrorUs = 50000;

// Lines 0 to 3 are wired to lines 4 to 7. The bus has a name of its own, since its lock is the machine's.
constexpr char kBoard[] =
    "[i2c]\ni2c-soak%d 0x10 registers 64\n"
    "[spi]\nspidev0.0 loopback\n"
    "[gpio]\nchip logic 8\nwire logic 0 logic 4\nwire logic 1 logic 5\nwire logic 2 logic 6\nwire logic 3 "
    "logic 7\n"
    "[memory]\n0xA0000000 4096\n";
constexpr char kConfiguration[] =
    "[i2c]\ni2c-soak%d 0x10 synthesizer\n"
    "[spi]\nspidev0.0 converter\n"
    "[gpio]\nlogic 3:0 0 attenuator\nlogic 7:4 in attenuator-readback\n"
    "[reg]\n0xA0000010 7:4 rw rf.gain\n";

bool failed = false;

void Fail(const std::string& reason) {
    printf("FAILED: %s\n", reason.c_str());
    failed = true;
}

/// One line to the console, and the one line that it must answer with.
void Expect(unit::ConsoleClient& console, const std::string& line, const std::string& answer) {
    const std::list<std::string> response = console.Execute(line, kAnswerMs);
    if (response.size() != (answer.empty() ? 0 : 1) || (!answer.empty() && response.front() != answer))
        throw MonitorException("\"%s\" was answered \"%s\"", line.c_str(),
                               response.empty() ? "" : response.front().c_str());
}

int32_t ClockOffsetUs(unit::ConsoleClient& console) {
    const std::string line = console.Execute("var show clock.offset-us", kAnswerMs).front();
    return int32_t(std::stol(line.substr(line.rfind(' ') + 1)));
}

/// The two units and those who use them.
class Soak {
public:
    explicit Soak(const std::string& programs);

    void Run(uint32_t minutes);

private:
    struct Soaked {
        std::unique_ptr<UnitProcess> unit;
        std::vector<Footprint> samples;
    };

    void Start(const std::string& name, const std::vector<std::string>& options);
    const UnitProcess& Unit(const char* name) const { return *soaked_.at(name).unit; }
    unit::ConsoleClient ConsoleOf(const char* name) const {
        return {Unit(name).Where("has its console"), kAnswerMs};
    }
    void UseConsole(const char* name);
    void SetSignalsThroughB();
    void Mirror();
    void SendFile();
    void CompareClocks();
    void Look(bool withClocks);
    void CheckGrowth(const std::string& name, const std::vector<Footprint>& samples) const;

    const std::string programs_;
    const quarn::test::TempDirectory folder_;
    WatchdogService watchdog_;
    std::map<std::string, Soaked> soaked_;
    uint64_t signalRounds_ = 0;  // each of these two counted by its chore alone
    uint64_t mirrorRounds_ = 0;
    std::vector<std::unique_ptr<HonestPeer>> peers_;
    std::list<Chore> chores_;
};

Soak::Soak(const std::string& programs) : programs_(programs) {
    folder_.Write("board", Format(kBoard, getpid()));
    folder_.Write("devices", Format(kConfiguration, getpid()));
    folder_.Write("settings", std::string(16384, '\xFF'));
    std::mt19937 random(1);
    std::string image(4 << 20, '\0');
    std::generate(image.begin(), image.end(), [&] { return static_cast<char>(random()); });
    folder_.Write("image", image);
    mkdir(folder_.File("inbox").c_str(), 0700);
    Start("a",
          {"--state", "eeprom:" + folder_.File("settings"), "--state-block-size", "4096", "--state-interval",
           "100", "--receive-files", folder_.File("inbox"), "--clock-server", "0", "--gpio-server", "0"});
    const auto atA = [this](const char* what) { return Unit("a").Where(what).ToString(); };
    Start("b", {"--peer", atA("listens"), "--clock-client", atA("tells the time"), "--clock-start", "5000000",
                "--gpio-client", atA("serves its GPIO signals")});

    peers_.push_back(std::make_unique<HonestPeer>(Unit("a").Where("listens"), "rf.squelch-level", 5));
    peers_.push_back(std::make_unique<HonestPeer>(Unit("b").Where("listens"), "audio.delay-samples", 5));
    chores_.emplace_back("console of a", 50, [this] { UseConsole("a"); });
    chores_.emplace_back("console of b", 70, [this] { UseConsole("b"); });
    chores_.emplace_back("signals through b", 30, [this] { SetSignalsThroughB(); });
    chores_.emplace_back("mirror", 100, [this] { Mirror(); });
    chores_.emplace_back("file", 2000, [this] { SendFile(); });
}

void Soak::Start(const std::string& name, const std::vector<std::string>& options) {
    std::vector<std::string> all = {"--name",         name,
                                    "--listen",       "0",
                                    "--console",      "0",
                                    "--board",        "simulated:" + folder_.File("board"),
                                    "--config",       folder_.File("devices"),
                                    "--console-mask", "0x1",
                                    "--watchdog",     Format("127.0.0.1:%u", watchdog_.Port())};
    all.insert(all.end(), options.begin(), options.end());
    soaked_[name].unit = std::make_unique<UnitProcess>(programs_ + "/quarn-unit", all);
    watchdog_.Expect(name);
}

/// A connection a round, so that coming and going is soaked, too.
void Soak::UseConsole(const char* name) {
    unit::ConsoleClient console = ConsoleOf(name);
    for (const char* line :
         {"help", "mon summary", "mon stats", "var list", "i2c list", "spi list", "reg list"})
        if (console.Execute(line, kAnswerMs).empty())
            throw MonitorException("\"%s\" was not answered by %s", line, name);
    Expect(console, "i2c synthesizer 0x20 7", "wrote 1 bytes");
    Expect(console, "i2c synthesizer 0x20", "20: 07");
    Expect(console, "reg rf.gain 9", "");
    Expect(console, "spi converter 1 2 0xFF", "0x01 0x02 0xFF");
}

void Soak::SetSignalsThroughB() {
    unit::ConsoleClient atA = ConsoleOf("a"), atB = ConsoleOf("b");
    const unsigned value = unsigned(signalRounds_++ % 16);
    Expect(atB, Format("gpio attenuator %u", value), Format("attenuator set to %u", value));
    const std::list<std::string> shown = atA.Execute("gpio attenuator-readback", kAnswerMs);
    if (shown.size() != 2 || shown.back().find(Format("0x%X", value)) == std::string::npos)
        throw MonitorException("a reads \"%s\" after b set %u", shown.back().c_str(), value);
}

void Soak::Mirror() {
    unit::ConsoleClient atA = ConsoleOf("a"), atB = ConsoleOf("b");
    const std::string line = Format("rf.channel = %lu", mirrorRounds_++ % 200 + 1);
    atA.Execute("var set rf.channel " + line.substr(line.rfind(' ')), kAnswerMs);
    const uint64_t start = quarn::Tick();
    while (atB.Execute("var show rf.channel", kAnswerMs) != std::list<std::string>{line})
        if (quarn::MillisecondsSince(start) > kAnswerMs)
            throw MonitorException("b does not have \"%s\"", line.c_str());
}

void Soak::CompareClocks() {
    unit::ConsoleClient atA = ConsoleOf("a"), atB = ConsoleOf("b");
    const int32_t error = ClockOffsetUs(atB) - ClockOffsetUs(atA);
    if (abs(error) > kAllowedClockErrorUs)
        Fail(Format("b's clock is %d us off", error));
}

void Soak::SendFile() {
    const std::string command =
        Format("%s/quarn-ctl push %s %s >%s 2>&1", programs_.c_str(), folder_.File("image").c_str(),
               Unit("a").Where("listens").ToString().c_str(), folder_.File("push-output").c_str());
    if (system(command.c_str()) != 0)
        throw MonitorException("quarn-ctl push: %s", folder_.Read("push-output").c_str());
}

void Soak::Look(bool withClocks) {
    for (auto& [name, soaked] : soaked_) {
        soaked.samples.push_back(soaked.unit->Measure());
        const uint64_t gap = watchdog_.TakeLongestGapUs(name);
        if (gap > kWatchdogLimitUs)
            Fail(Format("%s did not report to its watchdog for %lu ms", name.c_str(), gap / 1000));
        if (!soaked.unit->IsAlive())
            Fail(name + " is gone");
    }
    if (withClocks)
        CompareClocks();
}

/// Compares what the unit held in the second fifth of the time with the last one.
void Soak::CheckGrowth(const std::string& name, const std::vector<Footprint>& samples) const {
    const size_t fifth = std::max<size_t>(samples.size() / 5, 1);
    const struct {
        const char* what;
        size_t Footprint::*held;
        size_t allowed;
    } figures[] = {{"KiB resident", &Footprint::residentKiB, kAllowedGrowthKiB},
                   {"descriptors", &Footprint::descriptors, 2},  // those of clients that come and go
                   {"threads", &Footprint::threads, 0}};
    for (const auto& figure : figures) {
        // The median, since a file that is under way, or a client, is no growth.
        const auto median = [&](size_t from) {
            std::vector<size_t> held;
            for (size_t i = from; i < from + fifth; ++i)
                held.push_back(samples[i].*figure.held);
            std::sort(held.begin(), held.end());
            return held[held.size() / 2];
        };
        const size_t early = median(samples.size() / 5);
        const size_t late = median(samples.size() - fifth);
        printf("%s: %zu %s early, %zu late\n", name.c_str(), early, figure.what, late);
        if (late > early + figure.allowed)
            Fail(Format("%s: %s grew", name.c_str(), figure.what));
    }
}

void Soak::Run(uint32_t minutes) {
    const uint64_t start = quarn::Tick();
    uint64_t nextLook = start;
    const auto hasFailed = [](const Chore& chore) { return chore.HasFailed(); };
    do {
        if (quarn::Tick() >= nextLook) {
            nextLook += kSampleMs * 1000;
            Look(quarn::MillisecondsSince(start) > 30000);
        }
        usleep(100000);
    } while (!failed && quarn::MillisecondsSince(start) < uint64_t{minutes} * 60000 &&
             std::none_of(chores_.begin(), chores_.end(), hasFailed));
    Latencies times;
    for (const auto& peer : peers_)
        if (const std::string reason = peer->End(times); !reason.empty())
            Fail(reason);
    for (Chore& chore : chores_) {
        if (const std::string reason = chore.End(); !reason.empty())
            Fail(reason);
        printf("%s: %lu rounds\n", chore.Name().c_str(), chore.Rounds());
        if (chore.Rounds() == 0)
            Fail(chore.Name() + " did nothing");
    }
    printf("messages: %s\n", Describe(times).c_str());
    for (auto& [name, soaked] : soaked_)
        CheckGrowth(name, soaked.samples);
    for (const char* name : {"b", "a"})
        if (soaked_[name].unit->End() != 0)
            Fail(std::string(name) + " did not end cleanly");
    if (folder_.Read("image") != folder_.Read("inbox/image"))
        Fail("the file is not what was sent");
}

}  // namespace
}  // namespace endurance

int main(int argc, char** argv) {
    if (argc != 3 || atoi(argv[2]) <= 0) {
        fprintf(stderr, "usage: soak FOLDER-OF-PROGRAMS MINUTES\n");
        return 2;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        endurance::Soak(argv[1]).Run(uint32_t(atoi(argv[2])));
    } catch (const quarn::MonitorException& e) {
        endurance::Fail(e.Description());
    }
    return endurance::failed ? 1 : 0;
}
