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
#include <memory>
#include <random>

namespace endurance {
namespace {

using quarn::Format;
using quarn::MonitorException;

constexpr uint32_t kAnswerMs = 30000;
constexpr uint32_t kLookUs = 1000000;
constexpr uint64_t kWatchdogLimitUs = 2000000;  // eight reports, on a machine that may be busy
constexpr size_t kAllowedGrowthKiB = 512;
constexpr int64_t kAllowedClockErrorUs = 50000;

/// One line to the console, and the one line that it must answer with.
void Expect(unit::ConsoleClient& console, const std::string& line, const std::string& answer) {
    const std::list<std::string> response = console.Execute(line, kAnswerMs);
    if (response.size() != (answer.empty() ? 0 : 1) || (!answer.empty() && response.front() != answer))
        throw MonitorException("\"%s\" was answered \"%s\"", line.c_str(),
                               response.empty() ? "" : response.front().c_str());
}

unit::ConsoleClient ConsoleOf(const UnitProcess& unit) {
    return {unit.Where("has its console"), kAnswerMs};
}

/// A connection a round, so that coming and going is soaked, too.
void UseConsole(const UnitProcess& unit) {
    unit::ConsoleClient console = ConsoleOf(unit);
    for (const char* line :
         {"help", "mon summary", "mon stats", "var list", "i2c list", "spi list", "reg list"})
        if (console.Execute(line, kAnswerMs).empty())
            throw MonitorException("\"%s\" was not answered", line);
    Expect(console, "i2c synthesizer 0x20 7", "wrote 1 bytes");
    Expect(console, "i2c synthesizer 0x20", "20: 07");
    Expect(console, "reg rf.gain 9", "");
    Expect(console, "spi converter 1 2 0xFF", "0x01 0x02 0xFF");
}

/// Lines of a, wired to others there.
void SetSignalsThroughB(const UnitProcess& a, const UnitProcess& b, unsigned value) {
    unit::ConsoleClient atA = ConsoleOf(a), atB = ConsoleOf(b);
    Expect(atB, Format("gpio bus %u", value), Format("bus set to %u", value));
    const std::list<std::string> shown = atA.Execute("gpio bus.echo", kAnswerMs);
    if (shown.size() != 2 || shown.back().find(Format("0x%X", value)) == std::string::npos)
        throw MonitorException("a reads \"%s\" after b set %u", shown.back().c_str(), value);
}

void Mirror(const UnitProcess& a, const UnitProcess& b, unsigned channel) {
    unit::ConsoleClient atA = ConsoleOf(a), atB = ConsoleOf(b);
    atA.Execute(Format("var set rf.channel %u", channel), kAnswerMs);
    const std::list<std::string> expected = {Format("rf.channel = %u", channel)};
    const uint64_t start = quarn::Tick();
    while (atB.Execute("var show rf.channel", kAnswerMs) != expected)
        if (quarn::MillisecondsSince(start) > kAnswerMs)
            throw MonitorException("b does not have \"%s\"", expected.front().c_str());
}

int64_t ClockOffsetUs(const UnitProcess& unit) {
    const std::string line = ConsoleOf(unit).Execute("var show clock.offset-us", kAnswerMs).front();
    return std::stol(line.substr(line.rfind(' ') + 1));
}

/// Compares what the unit held in the second fifth of the time with the last one.
void CheckGrowth(const char* name, const std::vector<Footprint>& samples) {
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
        printf("%s: %zu %s early, %zu late\n", name, early, figure.what, late);
        if (late > early + figure.allowed)
            Fail(Format("%s: %s grew", name, figure.what));
    }
}

/// Looks at both units, over and over, until the time is over or something has failed.
void LookAt(const UnitProcess& a, const UnitProcess& b, WatchdogService& watchdog, uint64_t forMs) {
    struct {
        const char* name;
        const UnitProcess& unit;
        std::vector<Footprint> samples;
    } looked[] = {{"a", a, {}}, {"b", b, {}}};
    const uint64_t start = quarn::Tick();
    for (; !hasFailed && quarn::MillisecondsSince(start) < forMs; usleep(kLookUs)) {
        for (auto& [name, unit, samples] : looked) {
            samples.push_back(unit.Measure());
            const uint64_t gap = watchdog.TakeLongestGapUs(name);
            if (gap > kWatchdogLimitUs)
                Fail(Format("%s did not report to its watchdog for %lu ms", name, gap / 1000));
            if (!unit.IsAlive())
                Fail(Format("%s is gone", name));
        }
        const int64_t error = ClockOffsetUs(b) - ClockOffsetUs(a);
        if (std::abs(error) > kAllowedClockErrorUs && quarn::MillisecondsSince(start) > 30000)
            Fail(Format("b's clock is %ld us off", error));
    }
    for (const auto& [name, unit, samples] : looked)
        if (!samples.empty())
            CheckGrowth(name, samples);
}

void Run(const std::string& programs, uint32_t minutes) {
    const quarn::test::TempDirectory folder;
    std::mt19937 random(1);
    std::string image(4 << 20, '\0');
    std::generate(image.begin(), image.end(), [&] { return static_cast<char>(random()); });
    folder.Write("image", image);
    folder.Write("settings", std::string(16384, '\xFF'));
    mkdir(folder.File("inbox").c_str(), 0700);
    WatchdogService watchdog;
    const auto start = [&](const char* name, std::vector<std::string> options) {
        for (const std::string option : {"--name", name, "--listen", "0", "--console", "0", "--config",
                                         QUARN_EXAMPLES "/board.conf", "--console-mask", "0x1"})
            options.push_back(option);
        options.push_back(Format("--watchdog=127.0.0.1:%u", watchdog.Port()));
        auto unit = std::make_unique<UnitProcess>(programs + "/quarn-unit", options);
        watchdog.Expect(name);
        return unit;
    };
    const auto a = start("a", {"--state", "eeprom:" + folder.File("settings"), "--state-block-size", "4096",
                               "--state-interval", "100", "--receive-files", folder.File("inbox"),
                               "--clock-server", "0", "--gpio-server", "0"});
    const auto atA = [&](const char* what) { return a->Where(what).ToString(); };
    const auto b = start("b", {"--peer", atA("listens"), "--clock-client", atA("tells the time"),
                               "--clock-start", "5000000", "--gpio-client", atA("serves its GPIO signals")});
    const std::string push =
        Format("%s/quarn-ctl push %s %s >%s 2>&1", programs.c_str(), folder.File("image").c_str(),
               atA("listens").c_str(), folder.File("push-output").c_str());

    HonestPeer peers[] = {{a->Where("listens"), "rf.squelch-level", 5},
                          {b->Where("listens"), "audio.delay-samples", 5}};
    std::list<Chore> chores;
    chores.emplace_back("console of a", 50, [&] { UseConsole(*a); });
    chores.emplace_back("console of b", 70, [&] { UseConsole(*b); });
    chores.emplace_back("signals through b", 30,
                        [&, value = 0U]() mutable { SetSignalsThroughB(*a, *b, ++value % 16); });
    chores.emplace_back("mirror", 100, [&, channel = 0U]() mutable { Mirror(*a, *b, ++channel % 200); });
    chores.emplace_back("file", 2000, [&] {
        if (system(push.c_str()) != 0)
            throw MonitorException("quarn-ctl push: %s", folder.Read("push-output").c_str());
    });

    LookAt(*a, *b, watchdog, uint64_t{minutes} * 60000);
    Latencies times;
    for (HonestPeer& peer : peers)
        peer.End(times);
    chores.clear();
    printf("messages: %s\n", Describe(times).c_str());
    if (b->End() != 0 || a->End() != 0)
        Fail("a unit did not end cleanly");
    if (folder.Read("inbox/image") != image)
        Fail("the file is not what was sent");
}

}  // namespace
}  // namespace endurance

int main(int argc, char** argv) {
    if (argc != 3 || atoi(argv[2]) <= 0) {
        fprintf(stderr, "usage: soak FOLDER-OF-PROGRAMS MINUTES\n");
        return 2;
    }
    return endurance::StatusOf([&] { endurance::Run(argv[1], uint32_t(atoi(argv[2]))); });
}
