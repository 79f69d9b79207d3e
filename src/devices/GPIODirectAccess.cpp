#include <quarn/GPIODirectAccess.h>
#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/Text.h>

#include "devices/GPIOGroup.h"
#include "devices/NameTable.h"
#include "foundation/ErrnoText.h"

#include <errno.h>

#include <optional>
#include <unordered_map>
#include <utility>

namespace quarn {

namespace {

constexpr char kDeviceFolder[] = "/dev/";

uint32_t ParseValue(const std::string& text) {
    try {
        return ParseU32(text, 0);
    } catch (const MonitorException&) {
        throw MonitorException("GPIO: bad value");
    }
}

std::list<std::string> Row(GPIOGroup& group, bool isDetailed) {
    const GPIOSignal& signal = group.Signal();
    std::list<std::string> row = {group.Name()};
    if (isDetailed) {
        row.push_back(signal.label);
        row.push_back(signal.OffsetList());
    }
    row.push_back(group.DirectionCell());  // what it is before the value is read, which may change it
    row.push_back(FormatHexU32(group.Get(), signal.Width()));
    if (isDetailed)
        row.push_back(AliasCell(signal.names));
    return row;
}

}  // namespace

class GPIODirectAccess::Impl {
public:
    Impl(const std::string& section, const std::string& command, GPIOChips& chips)
        : section_(section), command_(command), chips_(chips) {
        std::vector<GPIOChips::ChipName> found;
        if (chips_.List(found) < 0)
            throw MonitorException("GPIO: gpio_chip_iter_new failed: %s", ErrnoText(errno).c_str());
        for (const GPIOChips::ChipName& chip : found)
            devices_.emplace(chip.label, kDeviceFolder + chip.name);
    }

    GPIOGroup& Find(const std::string& name) {
        const std::optional<size_t> found = names_.Find(name);
        if (!found)
            throw MonitorException("GPIO: unknown signal %s", name.c_str());
        return groups_[*found];
    }

    void Add(GPIOSignal signal);

    const std::string& Section() const { return section_; }
    const std::string& Command() const { return command_; }
    std::string HelpEntry() const { return command_ + ": GPIO access (direct)"; }
    std::list<std::string> Usage(const std::string& word) const;
    std::list<std::string> List(const std::string& pattern, bool isDetailed);

private:
    using LineId = std::pair<std::string, uint32_t>;  // chip label and offset

    void CheckLines(const GPIOSignal& signal) const;
    GPIOChip& OpenChip(const std::string& label);

    const std::string section_;
    const std::string command_;
    GPIOChips& chips_;
    std::unordered_map<std::string, std::string> devices_;  // paths, by chip labels
    // Before the groups, whose lines must be gone when the chips are closed.
    std::unordered_map<std::string, std::unique_ptr<GPIOChip>> open_;  // by labels
    std::vector<GPIOGroup> groups_;                                    // as they were configured
    NameTable names_;
    std::set<LineId> usedLines_;
};

void GPIODirectAccess::Impl::CheckLines(const GPIOSignal& signal) const {
    std::set<uint32_t> onLine;
    for (const uint32_t offset : signal.offsets)
        if (usedLines_.count({signal.label, offset}) != 0 || !onLine.insert(offset).second)
            // Without a colon behind GPIO, on purpose.
            throw MonitorException("GPIO attempt to add duplicate line %s/%u", signal.label.c_str(), offset);
}

GPIOChip& GPIODirectAccess::Impl::OpenChip(const std::string& label) {
    const auto device = devices_.find(label);
    if (device == devices_.end())
        throw MonitorException("GPIO: no chip found with label \"%s\"", label.c_str());
    const auto opened = open_.find(label);
    if (opened != open_.end())
        return *opened->second;
    const std::string& path = device->second;
    std::unique_ptr<GPIOChip> chip = chips_.OpenChip(path);
    if (!chip)
        throw MonitorException("GPIO: could not open chip device %s: %s", path.c_str(),
                               ErrnoText(errno).c_str());
    return *open_.emplace(label, std::move(chip)).first->second;
}

void GPIODirectAccess::Impl::Add(GPIOSignal signal) {
    if (const std::string* const name = names_.FindDuplicate(signal.names))
        throw MonitorException("GPIO: attempt to add duplicate signal \"%s\"", name->c_str());
    CheckLines(signal);
    GPIOChip& chip = OpenChip(signal.label);
    groups_.emplace_back(std::move(signal), chip);
    const GPIOSignal& added = groups_.back().Signal();
    names_.Add(added.names, groups_.size() - 1);
    for (const uint32_t offset : added.offsets)
        usedLines_.emplace(added.label, offset);
}

std::list<std::string> GPIODirectAccess::Impl::Usage(const std::string& word) const {
    const char* const name = word.c_str();
    return {HelpEntry(),
            "",
            Format("%s list            list all signals/groups and aliases", name),
            Format("%s list <pattern>  list specified signal(s)/group(s)", name),
            Format("%s <pattern>       show direction and value of one or more signal(s)/group(s)", name),
            Format("%s <name> [0|1]    set value of an output signal/group", name),
            "",
            "  <pattern> is a signal/group name with optional * wildcard(s)",
            "  <name>    is a signal/group name",
            "  * suffix in direction column denotes a bidirectional signal/group"};
}

std::list<std::string> GPIODirectAccess::Impl::List(const std::string& pattern, bool isDetailed) {
    std::list<std::list<std::string>> rows;
    for (GPIOGroup& group : groups_)
        if (AnyMatches(group.Signal().names, pattern))
            rows.push_back(Row(group, isDetailed));
    if (rows.empty())
        return {"GPIO: no matching lines"};
    rows.push_front(isDetailed ? std::list<std::string>{"name", "chip", "line(s)", "dir", "value", "aliases"}
                               : std::list<std::string>{"name", "dir", "value"});
    return FormatColumnarList(rows);
}

GPIODirectAccess::GPIODirectAccess(const std::string& section, const std::string& command, GPIOChips& chips)
    : impl_(std::make_unique<Impl>(section, command, chips)) {}

GPIODirectAccess::~GPIODirectAccess() = default;

uint32_t GPIODirectAccess::Get(const std::string& name) {
    return impl_->Find(name).Get();
}

void GPIODirectAccess::Set(const std::string& name, uint32_t value) {
    impl_->Find(name).Set(value);
}

std::set<std::string> GPIODirectAccess::GetConsoleCommands(bool withDescriptions) const {
    return {withDescriptions ? impl_->HelpEntry() : impl_->Command()};
}

std::set<std::string> GPIODirectAccess::GetConfigurationSections() const {
    return {impl_->Section()};
}

void GPIODirectAccess::Configure(const std::string&, const std::vector<std::string>& words) {
    impl_->Add(GPIOSignal(words));
}

std::list<std::string> GPIODirectAccess::Execute(const std::string& command,
                                                 const std::vector<std::string>& words) {
    if (words.empty())
        return impl_->Usage(command);
    if (words.size() > 2)
        throw MonitorException("GPIO: too many words in command");
    if (words[0] == "list")
        return impl_->List(words.size() > 1 ? words[1] : "*", true);
    if (words.size() == 1)
        return impl_->List(words[0], false);
    const std::string& name = words[0];
    if (name.find('*') != std::string::npos)
        throw MonitorException("GPIO: cannot set multiple signals at once");
    const uint32_t value = ParseValue(words[1]);
    Set(name, value);
    return {Format("%s set to %d", name.c_str(), int32_t(value))};
}

}  // namespace quarn
