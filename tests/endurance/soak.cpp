/// Two units with everything on, for long: fails when memory, descriptors or threads grow, when a unit does not report
/// to its watchdog in time, and when a message is applied wrongly.

#include "connections/Loopback.h"
#include "endurance/HonestClients.h"
#include "endurance/WatchdogService.h"

#include <stdlib.h>

namespace endurance {
namespace {

using quarn::Format;
using quarn::MonitorException;

/// A connection a round, so that coming and going is soaked, too.
void UseConsole(const UnitProcess& unit) {
    unit::ConsoleClient console = ConsoleOf(unit);
    for (const char* line :
         {"help", "mon summary", "mon stats", "var list", "i2c list", "spi list", "reg list"})
        if (console.Execute(line, kAnswerMs).empty())
            throw MonitorException("\"%s\" was not answered", line);
    Expect(console, "i2c synthesizer 0x20 7", {"wrote 1 bytes"});
    Expect(console, "i2c synthesizer 0x20", {"20: 07"});
    Expect(console, "reg rf.gain 9", {});
    Expect(console, "spi converter 1 2 0xFF", {"0x01 0x02 0xFF"});
}

/// Lines of a, wired to others there.
void SetSignalsThroughB(const UnitProcess& a, const UnitProcess& b, unsigned value) {
    unit::ConsoleClient atA = ConsoleOf(a), atB = ConsoleOf(b);
    Expect(atB, Format("gpio bus %u", value), {Format("bus set to %u", value)});
    Expect(atA, "gpio bus.echo", {"name      dir    value  ", Format("bus.echo  in     0x%X    ", value)});
}

void Mirror(const UnitProcess& a, const UnitProcess& b, unsigned channel) {
    unit::ConsoleClient atA = ConsoleOf(a), atB = ConsoleOf(b);
    atA.Execute(Format("var set rf.channel %u", channel), kAnswerMs);
    const std::list<std::string> expected = {Format("rf.channel = %u", channel)};
    if (!quarn::test::Eventually([&] { return atB.Execute("var show rf.channel", kAnswerMs) == expected; }))
        throw MonitorException("b does not have channel %u", channel);
}

int64_t ClockOffsetUs(const UnitProcess& unit) {
    const std::string line = ConsoleOf(unit).Execute("var show clock.offset-us", kAnswerMs).front();
    return std::stol(line.substr(line.rfind(' ') + 1));
}

struct Soaked {
    const char* name;
    const UnitProcess& unit;
    std::vector<Footprint> samples;
};

/// Compares what the unit held in the second fifth of the time with the last one.
void CheckGrowth(Soaked& soaked) {
    const std::tuple<const char*, size_t Footprint::*, size_t> figures[] = {
        {"KiB resident", &Footprint::residentKiB, 512},
        {"descriptors", &Footprint::descriptors, 2},  // those of clients that come and go
        {"threads", &Footprint::threads, 0}};
    const ptrdiff_t fifth = std::max<ptrdiff_t>(std::ssize(soaked.samples) / 5, 1);
    for (const auto& [what, held, allowed] : figures) {
        // The median, since a file that is under way, or a client, is no growth.
        const auto median = [fifth, held = held](auto begin) {
            std::ranges::nth_element(begin, begin + fifth / 2, begin + fifth, {}, held);
            return begin[fifth / 2].*held;
        };
        const size_t early = median(soaked.samples.begin() + fifth);
        const size_t late = median(soaked.samples.end() - fifth);
        printf("%s: %zu %s early, %zu late\n", soaked.name, early, what, late);
        if (late > early + allowed)
            Fail(Format("%s: %s grew", soaked.name, what));
    }
}

/// Looks at both units every second until the time is over or something has failed.
void LookAt(const UnitProcess& a, const UnitProcess& b, WatchdogService& watchdog, uint64_t forMs) {
    Soaked both[] = {{"a", a, {}}, {"b", b, {}}};
    for (const uint64_t start = quarn::Tick(); !hasFailed && quarn::MillisecondsSince(start) < forMs;
         sleep(1)) {
        for (auto& [name, unit, samples] : both) {
            samples.push_back(unit.Measure());
            if (samples.back().residentKiB == 0)
                Fail(Format("%s is gone", name));
            watchdog.LookAt(name);
        }
        const int64_t error = ClockOffsetUs(b) - ClockOffsetUs(a);
        if (std::abs(error) > 50000 && quarn::MillisecondsSince(start) > 30000)
            Fail(Format("b's clock is %ld us off", error));
    }
    if (!hasFailed)
        std::ranges::for_each(both, CheckGrowth);
}

void Run(const std::string& programs, uint32_t minutes) {
    const quarn::test::TempDirectory folder, inbox;
    const std::string image = quarn::test::RandomBytes(4 << 20);
    folder.Write("image", image);
    folder.Write("settings", std::string(16384, '\xFF'));
    WatchdogService watchdog;
    const std::string unit =
        programs + "/quarn-unit --listen 0 --console 0 --console-mask 0x1 --config " +
        QUARN_EXAMPLES "/board.conf --watchdog 127.0.0.1:" + std::to_string(watchdog.Port());
    const UnitProcess a(
        unit + " --name a --clock-server 0 --gpio-server 0 --receive-files " + inbox.Path() +
        " --state-block-size 4096 --state-interval 100 --state eeprom:" + folder.File("settings"));
    const auto atA = [&](const char* what) { return a.Where(what).ToString(); };
    const UnitProcess b(unit + " --name b --clock-start 5000000 --peer " + atA("listens") +
                        " --clock-client " + atA("tells the time") + " --gpio-client " +
                        atA("serves its GPIO signals"));
    const std::string push = programs + "/quarn-ctl push " + folder.File("image") + " " + atA("listens") +
                             " >" + folder.File("push-output") + " 2>&1";

    Latencies messages, others;
    {
        unsigned value = 0, channel = 0;
        const std::jthread chores[] = {
            StartHonestPeer(a, "rf.squelch-level", 5, messages),
            StartHonestPeer(b, "audio.delay-samples", 5, messages),
            Repeat("console of a", 50, others, [&] { UseConsole(a); }),
            Repeat("console of b", 70, others, [&] { UseConsole(b); }),
            Repeat("signals through b", 30, others, [&] { SetSignalsThroughB(a, b, ++value % 16); }),
            Repeat("mirror", 100, others, [&] { Mirror(a, b, ++channel % 200); }),
            Repeat("file", 2000, others, [&] {
                if (system(push.c_str()) != 0 || inbox.Names() != std::vector<std::string>{"image"} ||
                    inbox.Read("image") != image)
                    throw MonitorException("quarn-ctl push: %s", folder.Read("push-output").c_str());
            })};
        LookAt(a, b, watchdog, uint64_t{minutes} * 60000);
    }
    printf("messages: %s\nother rounds: %s\n", messages.ToString().c_str(), others.ToString().c_str());
}

}  // namespace
}  // namespace endurance

int main(int argc, char** argv) {
    if (argc == 3 && atoi(argv[2]) > 0)
        return endurance::StatusOf([&] { endurance::Run(argv[1], uint32_t(atoi(argv[2]))); });
    fprintf(stderr, "usage: soak FOLDER-OF-PROGRAMS MINUTES\n");
    return 2;
}
