#include "ctl/Commands.h"

#include <quarn/MonitorException.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/Text.h>
#include <quarn/Variable.h>
#include <quarn/VariableDetails.h>

#include <stdio.h>

#include <list>
#include <memory>
#include <vector>

namespace unit {

namespace {

using quarn::MonitorException;
using quarn::Prettify;
using quarn::VariantValue;

constexpr int kAnswerMs = 5000;

std::string Text(const quarn::Sentence& sentence, size_t word) {
    return sentence.Word(word).As<std::string>();
}

/// The answers of one kind up to "done"; pushed variables between them are passed over.
std::vector<std::unique_ptr<quarn::Sentence>> CollectAnswers(UnitClient& client, SentenceTag kind) {
    std::vector<std::unique_ptr<quarn::Sentence>> answers;
    for (;;) {
        std::unique_ptr<quarn::Sentence> sentence = client.Receive(kAnswerMs);
        const uint32_t tag = sentence ? sentence->GetDetails().GetTag() : 0;
        if (tag == DONE)
            return answers;
        if (tag == kind)
            answers.push_back(std::move(sentence));
    }
}

}  // namespace

void ShowVariables(UnitClient& client, const std::string& pattern) {
    client.Say(QUERY, {VariantValue(pattern)});
    std::list<std::list<std::string>> rows;
    for (const auto& value : CollectAnswers(client, VALUE))
        rows.push_back({Text(*value, 0), Text(*value, 1), Prettify(Text(*value, 2))});
    if (rows.empty())
        throw MonitorException("No variable matches \"%s\"", pattern.c_str());
    for (const std::string& line : quarn::FormatColumnarList(rows))
        puts(quarn::TrimRight(line).c_str());
}

void SetVariable(UnitClient& client, const std::string& key, const std::string& text) {
    const quarn::VariableDetails& variable = client.Dictionary().Find(key);
    const VariantValue value(variable.GetType(), text);
    client.Set(variable, value);
    // The unit handles what it gets in order, so the answer tells what the variable has become.
    client.Say(QUERY, {VariantValue(key)});
    const auto answers = CollectAnswers(client, VALUE);
    const std::string now = answers.empty() ? "" : Text(*answers.front(), 2);
    if (now != value.ToString())
        throw MonitorException("%s is \"%s\" after setting it", key.c_str(), Prettify(now).c_str());
    printf("%s = %s\n", key.c_str(), Prettify(now).c_str());
}

void WatchVariables(UnitClient& client, const std::string& pattern, uint64_t count) {
    if (client.Dictionary().Query(pattern).empty())
        throw MonitorException("No variable matches \"%s\"", pattern.c_str());
    client.Say(SUBSCRIBE, {VariantValue(std::vector<std::string>{pattern})});
    for (uint64_t seen = 0; count == 0 || seen < count;) {
        if (client.Receive(-1))
            continue;
        const quarn::Variable variable = client.Received().ToVariable(client.Dictionary());
        printf("%s = %s\n", variable.GetDetails().GetKey().c_str(),
               Prettify(variable.GetValue().ToString()).c_str());
        fflush(stdout);
        ++seen;
    }
}

void ShowStatistics(UnitClient& client) {
    client.Say(STATISTICS, {});
    for (const auto& line : CollectAnswers(client, LINE))
        puts(Prettify(Text(*line, 0)).c_str());
}

}  // namespace unit
