#include "foundation/FoundationTest.h"

namespace quarn::test {
namespace {

TEST(RecurringEventTest, ReportsWhatHappenedAndHowLongItTook) {
    FakeClock clock(1000);
    std::map<std::string, RecurringEvent> events;
    for (const char* name : {"poll", "other", "copy"})
        events.emplace(name, name);
    const auto log = [&](auto& w, auto& out) {
        std::list<std::string> lines;
        events.at(w.at(1)).Log(lines);
        for (const std::string& line : lines)
            out << line << "\n";
    };
    const Commands commands{
        {"wait", [&](auto& w, auto&) { clock.now += std::stoul(w.at(1)); }},
        {"enter", [&](auto& w, auto&) { events.at(w.at(1)).Enter(); }},
        {"leave", [&](auto& w, auto&) { events.at(w.at(1)).Leave(); }},
        {"clear", [&](auto& w, auto&) { events.at(w.at(1)).Clear(); }},
        {"copy", [&](auto& w, auto&) { events.at(w.at(2)).Copy(events.at(w.at(1))); }},
        {"longest", [&](auto& w, auto& out) { out << events.at(w.at(1)).GetMaximumDurationUs(); }},
        {"count", [&](auto& w, auto& out) { out << events.at(w.at(1)).GetEventCount(); }},
        {"completed", [&](auto& w, auto& out) { out << events.at(w.at(1)).GetCumulativeDurationUs(); }},
        {"log", log},
    };
    Replay("events.txt", commands);
}

}  // namespace
}  // namespace quarn::test
