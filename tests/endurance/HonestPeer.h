#pragma once

#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/Text.h>
#include <quarn/VariableDetails.h>

#include "ctl/UnitClient.h"
#include "endurance/Chore.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace endurance {

/// In microseconds.
using Latencies = std::vector<uint64_t>;

/// "median 85 us, 99 % 210 us, worst 1503 us of 12345".
inline std::string Describe(Latencies times) {
    if (times.empty())
        return "none";
    std::sort(times.begin(), times.end());
    return quarn::Format("median %lu us, 99 %% %lu us, worst %lu us of %zu", times[times.size() / 2],
                         times[times.size() * 99 / 100], times.back(), times.size());
}

/// A client that sets a variable and asks for it, over and over, on a thread of its own. What it sets counts up, and
/// nobody else may set it, so that a message lost, doubled or applied wrongly shows.
class HonestPeer {
public:
    HonestPeer(const unit::Endpoint& unit, const std::string& key, uint32_t pauseMs)
        : unit_(unit), key_(key), chore_(key, pauseMs, [this] { SetAndAsk(); }) {}

    /// Ends the thread and adds the times from setting to having read back. The reason for which it ended before, or
    /// an empty text.
    std::string End(Latencies& times) {
        const std::string failure = chore_.End();
        times.insert(times.end(), times_.begin(), times_.end());
        return failure;
    }

private:
    void SetAndAsk() {
        if (!client_)
            client_.emplace(unit_, 5000);
        const uint32_t value = ++count_ % 60000;  // fits each variable that a peer counts in
        const quarn::VariableDetails& variable = client_->Dictionary().Find(key_);
        const quarn::VariantValue wanted(variable.GetType(), std::to_string(value));
        const uint64_t start = quarn::Tick();
        client_->Set(variable, wanted);
        client_->Say(unit::QUERY, {quarn::VariantValue(key_)});
        std::string got = "nothing";
        for (uint32_t tag = 0; tag != unit::DONE;) {
            const auto sentence = client_->Receive(30000);
            tag = sentence ? sentence->GetDetails().GetTag() : 0;
            if (tag == unit::VALUE)
                got = sentence->Word(2).As<std::string>();
        }
        times_.push_back(quarn::Tick() - start);
        if (got != wanted.ToString())
            throw quarn::MonitorException("%s is \"%s\" after setting it to %u", key_.c_str(), got.c_str(),
                                          value);
    }

    const unit::Endpoint unit_;
    const std::string key_;
    std::optional<unit::UnitClient> client_;
    uint32_t count_ = 0;
    Latencies times_;
    Chore chore_;
};

}  // namespace endurance
