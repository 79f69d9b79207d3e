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
constexpr size_t kFileBytes = 4 << 20;

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
    struct Sample {
        Footprint a;
        Footprint b;
    };

    std::vector<std::string> Options(const std::string& name, const std::vector<std::string>& more) const;
    std::string Address(const UnitProcess& unit, const std::string& what) const {
        return unit.Where(what).ToString();
    }
    void UseConsole(const UnitProcess& unit, const std::string& name);
    void SetSignalsThroughB();
    void Mirror();
    void CompareClocks();
    void SendFile();
    void CheckWatchdog(const std::string& name);
    void CheckGrowth(const std::string& name, Footprint Sample::*unit) const;
    bool HasFailure() const;

    const std::string programs_;
    const quarn::test::TempDirectory folder_;
    WatchdogService watchdog_;
    std::unique_ptr<UnitProcess> a_;
    std::unique_ptr<UnitProcess> b_;
    uint64_t signalRounds_ = 0;  // each of these two counted by its chore alone
    uint64_t mirrorRounds_ = 0;
    std::vector<std::unique_ptr<HonestPeer>> peers_;
    std::vector<std::unique_ptr<Chore>> chores_;
    std::vector<Sample> samples_;
};

Soak::Soak(const std::string& programs) : programs_(programs) {
    folder_.Write("board", Format(kBoard, getpid()));
    folder_.Write("devices", Format(kConfiguration, getpid()));
    folder_.Write("settings", std::string(16384, '\xFF'));
    std::mt19937 random(1);
    std::string image(kFileBytes, '\0');
    std::generate(image.begin(), image.end(), [&] { return static_cast<char>(random()); });
    folder_.Write("image", image);
    mkdir(folder_.File("inbox").c_str(), 0700);
    const std::string unitProgram = programs_ + "/quarn-unit";
    a_ = std::make_unique<UnitProcess>(
        unitProgram, Options("a", {"--state", "eeprom:" + folder_.File("settings"), "--state-block-size",
                                   "4096", "--state-interval", "100", "--receive-files",
                                   folder_.File("inbox"), "--clock-server", "0", "--gpio-server", "0"}));
    b_ = std::make_unique<UnitProcess>(
        unitProgram,
        Options("b", {"--peer", Address(*a_, "listens"), "--clock-client", Address(*a_, "tells the time"),
                      "--clock-start", "5000000", "--gpio-client", Address(*a_, "serves its GPIO signals")}));

    peers_.push_back(std::make_unique<HonestPeer>(a_->Where("listens"), "rf.squelch-level", 5));
    peers_.push_back(std::make_unique<HonestPeer>(b_->Where("listens"), "audio.delay-samples", 5));
    const auto add = [this](const char* name, uint32_t pauseMs, std::function<void()> work) {
        chores_.push_back(std::make_unique<Chore>(name, pauseMs, std::move(work)));
    };
    add("console of a", 50, [this] { UseConsole(*a_, "a"); });
    add("console of b", 70, [this] { UseConsole(*b_, "b"); });
    add("signals through b", 30, [this] { SetSignalsThroughB(); });
    add("mirror", 100, [this] { Mirror(); });
    add("file", 2000, [this] { SendFile(); });
}

std::vector<std::string> Soak::Options(const std::string& name, const std::vector<std::string>& more) const {
    std::vector<std::string> options = {"--name",         name,
                                        "--listen",       "0",
                                        "--console",      "0",
                                        "--board",        "simulated:" + folder_.File("board"),
                                        "--config",       folder_.File("devices"),
                                        "--console-mask", "0x1",
                                        "--watchdog",     Format("127.0.0.1:%u", watchdog_.Port())};
    options.insert(options.end(), more.begin(), more.end());
    return options;
}

/// A connection a round, so that coming and going is soaked, too.
void Soak::UseConsole(const UnitProcess& unit, const std::string& name) {
    unit::ConsoleClient console(unit.Where("has its console"), kAnswerMs);
    for (const char* line :
         {"help", "mon summary", "mon stats", "var list", "i2c list", "spi list", "reg list"})
        if (console.Execute(line, kAnswerMs).empty())
            throw MonitorException("\"%s\" was not answered by %s", line, name.c_str());
    Expect(console, "i2c synthesizer 0x20 7", "wrote 1 bytes");
    Expect(console, "i2c synthesizer 0x20", "20: 07");
    Expect(console, "reg rf.gain 9", "");
    Expect(console, "spi converter 1 2 0xFF", "0x01 0x02 0xFF");
}

void Soak::SetSignalsThroughB() {
    unit::ConsoleClient atA(a_->Where("has its console"), kAnswerMs);
    unit::ConsoleClient atB(b_->Where("has its console"), kAnswerMs);
    const unsigned value = unsigned(signalRounds_++ % 16);
    Expect(atB, Format("gpio attenuator %u", value), Format("attenuator set to %u", value));
    const std::list<std::string> shown = atA.Execute("gpio attenuator-readback", kAnswerMs);
    if (shown.size() != 2 || shown.back().find(Format("0x%X", value)) == std::string::npos)
        throw MonitorException("a reads \"%s\" after b set %u", shown.back().c_str(), value);
}

void Soak::Mirror() {
    unit::ConsoleClient atA(a_->Where("has its console"), kAnswerMs);
    unit::ConsoleClient atB(b_->Where("has its console"), kAnswerMs);
    const std::string line = Format("rf.channel = %lu", mirrorRounds_++ % 200 + 1);
    atA.Execute("var set rf.channel " + line.substr(line.rfind(' ')), kAnswerMs);
    const uint64_t start = quarn::Tick();
    while (atB.Execute("var show rf.channel", kAnswerMs) != std::list<std::string>{line})
        if (quarn::MillisecondsSince(start) > kAnswerMs)
            throw MonitorException("b does not have \"%s\"", line.c_str());
}

void Soak::CompareClocks() {
    unit::ConsoleClient atA(a_->Where("has its console"), kAnswerMs);
    unit::ConsoleClient atB(b_->Where("has its console"), kAnswerMs);
    const int32_t error = ClockOffsetUs(atB) - ClockOffsetUs(atA);
    if (abs(error) > kAllowedClockErrorUs)
        Fail(Format("b's clock is %d us off", error));
}

void Soak::SendFile() {
    const std::string command =
        Format("%s/quarn-ctl push %s %s >%s 2>&1", programs_.c_str(), folder_.File("image").c_str(),
               Address(*a_, "listens").c_str(), folder_.File("push-output").c_str());
    if (system(command.c_str()) != 0)
        throw MonitorException("quarn-ctl push: %s", folder_.Read("push-output").c_str());
}

void Soak::CheckWatchdog(const std::string& name) {
    const uint64_t gap = watchdog_.TakeLongestGapUs(name);
    if (gap > kWatchdogLimitUs)
        Fail(Format("%s did not report to its watchdog for %lu ms", name.c_str(), gap / 1000));
}

/// Compares what the unit held in the second fifth of the time with the last one.
void Soak::CheckGrowth(const std::string& name, Footprint Sample::*unit) const {
    const size_t fifth = samples_.size() / 5;
    // The median, since a file that is under way, or a client, is no growth.
    const auto median = [&](size_t from, size_t Footprint::*what) {
        std::vector<size_t> held;
        for (size_t i = from; i < from + std::max<size_t>(fifth, 1); ++i)
            held.push_back((samples_[i].*unit).*what);
        std::sort(held.begin(), held.end());
        return held[held.size() / 2];
    };
    const size_t late = samples_.size() - std::max<size_t>(fifth, 1);
    const struct {
        const char* what;
        size_t Footprint::*figure;
        size_t allowed;
    } figures[] = {{"KiB resident", &Footprint::residentKiB, kAllowedGrowthKiB},
                   {"descriptors", &Footprint::descriptors, 2},  // those of clients that come and go
                   {"threads", &Footprint::threads, 0}};
    for (const auto& figure : figures) {
        const size_t early = median(fifth, figure.figure);
        const size_t end = median(late, figure.figure);
        printf("%s: %zu %s early, %zu late\n", name.c_str(), early, figure.what, end);
        if (end > early + figure.allowed)
            Fail(Format("%s: %s grew", name.c_str(), figure.what));
    }
}

bool Soak::HasFailure() const {
    return std::any_of(chores_.begin(), chores_.end(),
                       [](const auto& chore) { return chore->HasFailed(); }) ||
           !a_->IsAlive() || !b_->IsAlive();
}

void Soak::Run(uint32_t minutes) {
    const uint64_t start = quarn::Tick();
    uint64_t nextSample = start;
    while (quarn::MillisecondsSince(start) < uint64_t{minutes} * 60000 && !HasFailure()) {
        usleep(100000);
        if (quarn::Tick() < nextSample)
            continue;
        nextSample += kSampleMs * 1000;
        samples_.push_back({a_->Measure(), b_->Measure()});
        for (const char* name : {"a", "b"})
            CheckWatchdog(name);
        if (quarn::MillisecondsSince(start) > 30000)
            CompareClocks();
    }
    Latencies times;
    for (const auto& peer : peers_) {
        const std::string reason = peer->End();
        if (!reason.empty())
            Fail(reason);
        times.Add(peer->Times());
    }
    for (const auto& chore : chores_) {
        const std::string reason = chore->End();
        if (!reason.empty())
            Fail(reason);
        printf("%s: %lu rounds\n", chore->Name().c_str(), chore->Rounds());
        if (chore->Rounds() == 0)
            Fail(chore->Name() + " did nothing");
    }
    printf("messages: %s\n", times.ToString().c_str());
    CheckGrowth("a", &Sample::a);
    CheckGrowth("b", &Sample::b);
    for (UnitProcess* unit : {b_.get(), a_.get()})
        if (unit->End() != 0)
            Fail("a unit did not end cleanly");
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
