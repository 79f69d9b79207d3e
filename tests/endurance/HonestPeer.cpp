#include "endurance/HonestPeer.h"

#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/VariableDetails.h>

namespace endurance {

using quarn::MonitorException;
using quarn::VariantValue;

namespace {

constexpr uint32_t kConnectMs = 5000;
constexpr int kAnswerMs = 30000;
constexpr uint32_t kDistinctValues = 60000;  // fits each variable that a peer counts in

}  // namespace

void HonestPeer::SetAndAsk() {
    if (!client_)
        client_.emplace(unit_, kConnectMs);
    unit::UnitClient& client = *client_;
    const uint32_t value = ++count_ % kDistinctValues;
    const quarn::VariableDetails& variable = client.Dictionary().Find(key_);
    const VariantValue wanted(variable.GetType(), std::to_string(value));
    const uint64_t start = quarn::Tick();
    client.Set(variable, wanted);
    client.Say(unit::QUERY, {VariantValue(key_)});
    std::string got = "nothing";
    for (;;) {
        const auto sentence = client.Receive(kAnswerMs);
        const uint32_t tag = sentence ? sentence->GetDetails().GetTag() : 0;
        if (tag == unit::VALUE)
            got = sentence->Word(2).As<std::string>();
        if (tag == unit::DONE)
            break;
    }
    times_.Add(quarn::Tick() - start);
    if (got != wanted.ToString())
        throw MonitorException("%s is \"%s\" after setting it to %u", key_.c_str(), got.c_str(), value);
}

}  // namespace endurance
