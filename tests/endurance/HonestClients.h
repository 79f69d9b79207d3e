#pragma once

#include "ctl/ConsoleClient.h"
#include "endurance/Chore.h"
#include "endurance/UnitProcess.h"
#include "examples/Ask.h"

namespace endurance {

constexpr uint32_t kAnswerMs = 30000;

/// Sets a variable and asks for it, over and over. What is set counts up, and nobody else may set it, so that a message
/// lost, doubled or applied wrongly shows. Times each setting and reading back.
inline std::jthread StartHonestPeer(const UnitProcess& unit, const std::string& key, uint32_t pauseMs,
                                    Latencies& times) {
    const auto client = std::make_shared<unit::UnitClient>(unit.Where("listens"), 5000);
    return Repeat(key, pauseMs, times, [=, count = 0U]() mutable {
        count = (count + 1) % 60000;  // fits each variable that a peer counts in
        unit::Set(*client, key, std::to_string(count));
        const std::string got = unit::Ask(*client, key);
        if (strtod(got.c_str(), nullptr) != count)
            throw quarn::MonitorException("it is \"%s\" after setting it to %u", got.c_str(), count);
    });
}

inline unit::ConsoleClient ConsoleOf(const UnitProcess& unit) {
    return {unit.Where("has its console"), kAnswerMs};
}

/// Throws MonitorException when the console answers the line with something else.
inline void Expect(unit::ConsoleClient& console, const std::string& line,
                   const std::list<std::string>& answer) {
    const std::list<std::string> response = console.Execute(line, kAnswerMs);
    if (response != answer)
        throw quarn::MonitorException("\"%s\" was answered \"%s\"", line.c_str(),
                                      response.empty() ? "" : response.back().c_str());
}

}  // namespace endurance
