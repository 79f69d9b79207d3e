#include <quarn/MonitorException.h>
#include <quarn/SubcommandParserHelper.h>
#include <quarn/Text.h>
#include <quarn/VariableAccess.h>
#include <quarn/VariableDetails.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariableIndex.h>
#include <quarn/Worker.h>

namespace quarn {

namespace {

// The owner's lock for the length of a scope. Unlike WorkerLock it insists.
class OwnersLock {
public:
    explicit OwnersLock(Worker* owner) : owner_(owner) {
        if (owner_ && !owner_->Lock())
            throw MonitorException("VAR: worker \"%s\" has ended", owner_->GetName().c_str());
    }
    ~OwnersLock() {
        if (owner_)
            owner_->Unlock();
    }
    OwnersLock(const OwnersLock&) = delete;
    OwnersLock& operator=(const OwnersLock&) = delete;

private:
    Worker* const owner_;
};

std::list<std::string> Usage(const SubcommandParserHelper& parser) {
    return {
        Format("%s list [<pattern> ...]     lists all or matching variables", parser.Cmd_c()),
        Format("%s show <pattern> [...]     shows the values of matching variables", parser.Spc_c()),
        Format("%s set <pattern> <value>    sets matching variables", parser.Spc_c()),
    };
}

std::list<uint32_t> Find(const VariableIndex& index, const std::string& pattern) {
    const std::list<uint32_t> tags = index.Query(pattern);
    if (tags.empty())
        throw MonitorException("VAR: no variable matches \"%s\"", pattern.c_str());
    return tags;
}

// The variables that the arguments match, each once. Throws for an argument that matches none.
std::list<uint32_t> FindAll(const VariableIndex& index, const SubcommandParserHelper& parser) {
    std::list<std::string> patterns;
    for (size_t i = 0; i < parser.Args(); ++i) {
        Find(index, parser.Arg(i));
        patterns.push_back(parser.Arg(i));
    }
    return index.Query(patterns);
}

// One line: the value, after it was set if one is given, or why not.
std::string ShowOne(VariableIndex& index, uint32_t tag, const std::string* newValue) {
    const std::string& key = index.GetDictionary().Find(tag).GetKey();
    try {
        if (newValue)
            index.Assign(tag, *newValue);
        return key + " = " + index.GetReference(tag)->ToString();
    } catch (const MonitorException& e) {
        return "VAR: " + key + ": " + e.Description();
    }
}

std::list<std::string> Show(VariableIndex& index, const std::list<uint32_t>& tags,
                            const std::string* newValue) {
    std::list<std::string> lines;
    for (const uint32_t tag : tags)
        lines.push_back(ShowOne(index, tag, newValue));
    return lines;
}

}  // namespace

VariableAccess::VariableAccess(VariableIndex& index, Worker* owner) : index_(index), owner_(owner) {}

std::set<std::string> VariableAccess::GetConsoleCommands(bool withDescriptions) const {
    return {withDescriptions ? "var: Lists, shows and sets variables" : "var"};
}

std::list<std::string> VariableAccess::Execute(const std::string& command,
                                               const std::vector<std::string>& words) {
    const SubcommandParserHelper parser(command, words);
    if (parser.NoSub())
        return Usage(parser);
    const OwnersLock lock(owner_);
    if (parser.Subcommand() == "list")
        return index_.List(parser.Args() == 0 ? index_.Query("*") : FindAll(index_, parser), true);
    if (parser.Sub("show", 1, 0))
        return Show(index_, FindAll(index_, parser), nullptr);
    if (parser.Sub("set", 2)) {
        const std::list<std::string> lines = Show(index_, Find(index_, parser.Arg(0)), &parser.Arg(1));
        if (owner_)
            owner_->Wake();
        return lines;
    }
    parser.Unk();
}

}  // namespace quarn
