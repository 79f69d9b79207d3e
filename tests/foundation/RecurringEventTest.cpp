#include "foundation/FoundationTest.h"

namespace quarn::test {

TEST(RecurringEventTest, ReportsWhatHappenedAndHowLongItTook) {
    FakeClock clock(1000);
    std::map<std::string, RecurringEvent> events;
    for (const char* name : {"poll", "other", "copy"})
        events.emplace(name, name);
    const auto run = [&](auto& w, auto&) {
        for (size_t i = 3; i < w.size(); ++i) {
            events.at(w[1]).Enter();
            clock.now += std::stoul(w[i]);
            events.at(w[1]).Leave();
            clock.now += std::stoul(w[2]);
        }
    };
    const auto figures = [&](auto& w, auto& out) {
        const RecurringEvent& event = events.at(w.at(1));
        out << event.GetEventCount() << " ever, " << event.GetCumulativeDurationUs() << " since cleared, "
            << event.GetMaximumDurationUs() << "us at most";
    };
    const auto log = [&](auto& w, auto& out) {
        std::list<std::string> lines;
        events.at(w.at(1)).Log(lines);
        out << Joined(lines);
    };
    const Commands commands{
        {"wait", [&](auto& w, auto&) { clock.now += std::stoul(w.at(1)); }},
        {"enter", [&](auto& w, auto&) { events.at(w.at(1)).Enter(); }},
        {"leave", [&](auto& w, auto&) { events.at(w.at(1)).Leave(); }},
        {"clear", [&](auto& w, auto&) { events.at(w.at(1)).Clear(); }},
        {"copy", [&](auto& w, auto&) { events.at(w.at(2)).Copy(events.at(w.at(1))); }},
        {"figures", figures},
        {"run", run},
        {"log", log},
    };
    CommandPlayer(commands).Replay("events.txt");
}

}  // namespace quarn::test
