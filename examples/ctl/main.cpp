/// quarn-ctl: reads, sets and watches the variables of a unit, sends it files, and talks to its text console.

#include <quarn/MonitorException.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/Text.h>
#include <quarn/Variable.h>
#include <quarn/VariableDetails.h>

#include "common/Endpoint.h"
#include "ctl/Console.h"
#include "ctl/Push.h"
#include "ctl/Top.h"
#include "ctl/UnitClient.h"

#include <CLI/CLI.hpp>

#include <stdio.h>

namespace {

using quarn::MonitorException;
using quarn::Prettify;
using quarn::VariantValue;
using unit::UnitClient;

constexpr uint32_t kConnectMs = 2000;
constexpr int kAnswerMs = 5000;

std::string Text(const quarn::Sentence& sentence, size_t word) {
    return sentence.Word(word).As<std::string>();
}

/// The answers of one kind up to "done"; pushed variables between them are passed over.
std::vector<std::unique_ptr<quarn::Sentence>> CollectAnswers(UnitClient& client, unit::SentenceTag kind) {
    std::vector<std::unique_ptr<quarn::Sentence>> answers;
    for (;;) {
        std::unique_ptr<quarn::Sentence> sentence = client.Receive(kAnswerMs);
        const uint32_t tag = sentence ? sentence->GetDetails().GetTag() : 0;
        if (tag == unit::DONE)
            return answers;
        if (tag == kind)
            answers.push_back(std::move(sentence));
    }
}

void Get(UnitClient& client, const std::string& pattern) {
    client.Say(unit::QUERY, {VariantValue(pattern)});
    std::list<std::list<std::string>> rows;
    for (const auto& value : CollectAnswers(client, unit::VALUE))
        rows.push_back({Text(*value, 0), Text(*value, 1), Prettify(Text(*value, 2))});
    if (rows.empty())
        throw MonitorException("No variable matches \"%s\"", pattern.c_str());
    for (const std::string& line : quarn::FormatColumnarList(rows))
        puts(quarn::TrimRight(line).c_str());
}

void Set(UnitClient& client, const std::string& key, const std::string& text) {
    const quarn::VariableDetails& variable = client.Dictionary().Find(key);
    const VariantValue value(variable.GetType(), text);
    client.Set(variable, value);
    // The unit handles what it gets in order, so the answer tells what the variable has become.
    client.Say(unit::QUERY, {VariantValue(key)});
    const auto answers = CollectAnswers(client, unit::VALUE);
    const std::string now = answers.empty() ? "" : Text(*answers.front(), 2);
    if (now != value.ToString())
        throw MonitorException("%s is \"%s\" after setting it", key.c_str(), Prettify(now).c_str());
    printf("%s = %s\n", key.c_str(), Prettify(now).c_str());
}

void Watch(UnitClient& client, const std::string& pattern, uint64_t count) {
    if (client.Dictionary().Query(pattern).empty())
        throw MonitorException("No variable matches \"%s\"", pattern.c_str());
    client.Say(unit::SUBSCRIBE, {VariantValue(std::vector<std::string>{pattern})});
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

void Stats(UnitClient& client) {
    client.Say(unit::STATISTICS, {});
    for (const auto& line : CollectAnswers(client, unit::LINE))
        puts(Prettify(Text(*line, 0)).c_str());
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Reads, sets and watches the variables of a unit, sends it files, and talks to its console");
    app.require_subcommand(1);
    std::string unitName = "127.0.0.1:7400";
    std::string pattern;
    std::string key;
    std::string value;
    uint64_t count = 0;
    app.add_option("-u,--unit", unitName, "HOST:PORT of the unit")->capture_default_str();
    app.fallthrough();
    CLI::App* get =
        app.add_subcommand("get", "Show the variables that match a pattern (\"*\" stands for anything)");
    get->add_option("PATTERN", pattern)->required();
    CLI::App* set = app.add_subcommand("set", "Set a variable and show what it has become");
    set->add_option("KEY", key)->required();
    set->add_option("VALUE", value)->required();
    CLI::App* watch = app.add_subcommand("watch", "Show the matching variables now and whenever they change");
    watch->add_option("PATTERN", pattern)->required();
    watch->add_option("--count", count, "End after so many lines")->capture_default_str();
    std::string file;
    CLI::App* push = app.add_subcommand("push", "Send a file to the unit");
    push->add_option("FILE", file)->required();
    app.add_subcommand("stats", "Show the unit's statistics");
    for (CLI::App* command : app.get_subcommands({}))
        command->add_option("UNIT", unitName, "HOST:PORT of the unit");
    std::string consoleName;
    std::vector<std::string> lines;
    CLI::App* console = app.add_subcommand("console", "Talk to the text console of a unit");
    console->add_option("CONSOLE", consoleName, "HOST:PORT of the console")->required();
    console->add_option("-c,--command", lines, "Execute this line and end; may be repeated")
        ->allow_extra_args(false);
    uint32_t intervalMs = 1000;
    CLI::App* top = app.add_subcommand("top", "Show what the workers of a unit do, over and over");
    top->add_option("CONSOLE", consoleName, "HOST:PORT of the unit's text console")->required();
    top->add_option("--interval", intervalMs, "Milliseconds between looks")
        ->capture_default_str()
        ->check(CLI::Range(10, 1000000));
    top->add_option("--count", count, "End after so many looks")->capture_default_str();
    app.failure_message([](const CLI::App*, const CLI::Error& e) {
        return std::string("quarn-ctl: ") + e.what() + " (--help shows what there is)\n";
    });
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }

    try {
        if (console->parsed()) {
            unit::RunConsole(unit::ParsePeer(consoleName), lines);
            return 0;
        }
        if (top->parsed()) {
            unit::ShowTop(unit::ParsePeer(consoleName), intervalMs, count);
            return 0;
        }
        const unit::Endpoint endpoint = unit::ParsePeer(unitName);
        UnitClient client(endpoint, kConnectMs);
        if (get->parsed())
            Get(client, pattern);
        else if (set->parsed())
            Set(client, key, value);
        else if (watch->parsed())
            Watch(client, pattern, count);
        else if (push->parsed())
            unit::Push(client, endpoint, file);
        else
            Stats(client);
    } catch (const MonitorException& e) {
        fprintf(stderr, "quarn-ctl: %s\n", e.Description().c_str());
        return 1;
    }
    return 0;
}
