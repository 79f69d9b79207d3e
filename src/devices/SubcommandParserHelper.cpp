#include <quarn/MonitorException.h>
#include <quarn/SubcommandParserHelper.h>
#include <quarn/Text.h>

namespace quarn {

namespace {

const char* Plural(size_t count) {
    return count == 1 ? "" : "s";
}

}  // namespace

SubcommandParserHelper::SubcommandParserHelper(const std::string& command,
                                               const std::vector<std::string>& words)
    : command_(command), words_(words) {}

const char* SubcommandParserHelper::Spc_c() const {
    if (spaces_.empty())
        spaces_ = Spaces(command_);
    return spaces_.c_str();
}

const char* SubcommandParserHelper::What_c() const {
    if (what_.empty())
        what_ = command_.empty() ? Format("\"%s\" command", Subcommand().c_str())
                                 : Format("\"%s %s\" command", Cmd_c(), Subcommand().c_str());
    return what_.c_str();
}

const std::string& SubcommandParserHelper::Subcommand() const {
    if (words_.empty())
        throw MonitorException("No subcommand");
    return words_[0];
}

const std::string& SubcommandParserHelper::Arg(size_t index) const {
    if (index >= Args())
        throw MonitorException("%s has no argument with index %zu", What_c(), index);
    return words_[index + 1];
}

bool SubcommandParserHelper::BinaryArg(size_t index, const std::string& a, const std::string& b) const {
    const std::string& word = Arg(index);
    if (word != a && word != b)
        throw MonitorException("%s expects \"%s\" or \"%s\"", What_c(), a.c_str(), b.c_str());
    return word == a;
}

bool SubcommandParserHelper::Sub(const std::string& name, size_t count) const {
    if (NoSub() || Subcommand() != name)
        return false;
    if (Args() != count)
        throw MonitorException("%s requires %s argument%s", What_c(),
                               count == 0 ? "no" : Format("%zu", count).c_str(), Plural(count));
    return true;
}

bool SubcommandParserHelper::Sub(const std::string& name, size_t minimum, size_t maximum) const {
    if (minimum == maximum)
        return Sub(name, minimum);
    if (maximum != 0 && minimum > maximum)
        throw MonitorException("%s handler has bad argument limits", What_c());
    if (Subcommand() != name)
        return false;
    if (Args() >= minimum && (maximum == 0 || Args() <= maximum))
        return true;
    if (maximum == 0)
        throw MonitorException("%s requires at least %zu argument%s", What_c(), minimum, Plural(minimum));
    throw MonitorException("%s requires %zu %s %zu arguments", What_c(), minimum,
                           maximum == minimum + 1 ? "or" : "to", maximum);
}

std::string SubcommandParserHelper::Line() const {
    std::string line = command_;
    for (const std::string& word : words_)
        line += " " + word;
    return line;
}

void SubcommandParserHelper::Usage() const {
    if (command_.empty())
        throw MonitorException("Issue empty command for usage information");
    throw MonitorException("Issue \"%s\" for usage information", Cmd_c());
}

void SubcommandParserHelper::Improper() const {
    throw MonitorException("Improper %s", What_c());
}

void SubcommandParserHelper::Unk() const {
    if (command_.empty()) {
        if (NoSub())
            throw MonitorException("Handler not checking for blank command case");
        throw MonitorException("Unknown command \"%s\"", Subcommand().c_str());
    }
    if (NoSub())
        throw MonitorException("\"%s\" handler not checking for no-subcommand case", Cmd_c());
    throw MonitorException("\"%s\" command has no \"%s\" subcommand", Cmd_c(), Subcommand().c_str());
}

}  // namespace quarn
