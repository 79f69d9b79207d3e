#include <quarn/GPIOIndirectAccess.h>
#include <quarn/Parse.h>
#include <quarn/SubcommandParserHelper.h>
#include <quarn/Text.h>

#include "devices/GPIOServerLink.h"

#include <ctype.h>

#include <algorithm>

namespace quarn {

namespace {

constexpr char kClientCommand[] = "gpio-ind";

/// The word as a console line has it.
std::string Quote(const std::string& word) {
    const bool isPlain = !word.empty() && std::none_of(word.begin(), word.end(),
                                                       [](char c) { return isspace(uint8_t(c)) != 0; });
    return isPlain ? word : '"' + word + '"';
}

std::list<std::string> Usage(const SubcommandParserHelper& parser) {
    return {Format("%s debug <level>                   Set debug level", parser.Cmd_c()),
            Format("%s stats                           Show statistics", parser.Cmd_c()),
            Format("%s clear                           Clear statistics", parser.Cmd_c())};
}

}  // namespace

class GPIOIndirectAccess::Impl {
public:
    Impl(const Debuggable& debuggable, const IPAddress& address, uint16_t port, const std::string& name)
        : command(name), link(debuggable, address, port) {}

    const std::string command;
    GPIOServerLink link;
};

GPIOIndirectAccess::GPIOIndirectAccess(const IPAddress& address, uint16_t port, const std::string& command)
    : Debuggable(nullptr), impl_(std::make_unique<Impl>(*this, address, port, command)) {}

GPIOIndirectAccess::~GPIOIndirectAccess() = default;

uint32_t GPIOIndirectAccess::Get(const std::string& name) {
    return impl_->link.Request(GPIOServerGrammar::GET, {name}, GPIOServerGrammar::ACK)->Word(1);
}

void GPIOIndirectAccess::Set(const std::string& name, uint32_t value) {
    impl_->link.Request(GPIOServerGrammar::SET, {name, value}, GPIOServerGrammar::ACK);
}

std::set<std::string> GPIOIndirectAccess::GetConsoleCommands(bool withDescriptions) const {
    if (!withDescriptions)
        return {impl_->command, kClientCommand};
    return {impl_->command + ": GPIO access (via GPIO server)",
            Format("%s: GPIO access client", kClientCommand)};
}

std::list<std::string> GPIOIndirectAccess::Execute(const std::string& command,
                                                   const std::vector<std::string>& words) {
    if (command != kClientCommand) {
        std::string line = command;
        for (const std::string& word : words)
            line += ' ' + Quote(word);
        const std::vector<std::string> response =
            impl_->link.Request(GPIOServerGrammar::COMMAND, {std::vector{line}}, GPIOServerGrammar::TEXT)
                ->Word(1);
        return {response.begin(), response.end()};
    }
    const SubcommandParserHelper parser(command, words);
    std::list<std::string> lines;
    if (parser.NoSub())
        return Usage(parser);
    if (parser.Sub("debug", 1))
        SetDebugLevel(ParseU32(parser.Arg(0), UINT32_MAX));
    else if (parser.Sub("stats", 0))
        GetStatistics(lines);
    else if (parser.Sub("clear", 0))
        ClearStatistics();
    else
        parser.Unk();
    return lines;
}

void GPIOIndirectAccess::GetStatistics(std::list<std::string>& lines) {
    lines.splice(lines.end(), impl_->link.statistics.List());
}

void GPIOIndirectAccess::ClearStatistics() {
    impl_->link.statistics = {};
}

}  // namespace quarn
