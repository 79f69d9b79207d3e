#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/RegisterAccess.h>
#include <quarn/Text.h>

#include "devices/NameTable.h"
#include "devices/RegisterPages.h"

#include <optional>

namespace quarn {

namespace {

constexpr uint32_t kWordBits = 32;
constexpr char kCommand[] = "reg";
constexpr char kHelpEntry[] = "reg: register field access";

enum class RegisterType { READ_ONLY = 1, WRITE_ONLY = 2, READ_WRITE = 3, NO_FIELD = 4 };

struct Register {
    uint32_t Width() const { return high - low + 1; }
    bool IsReadable() const { return type == RegisterType::READ_ONLY || type == RegisterType::READ_WRITE; }
    bool IsWritable() const { return type == RegisterType::WRITE_ONLY || type == RegisterType::READ_WRITE; }

    uint64_t address = 0;
    uint32_t high = 0;
    uint32_t low = 0;
    RegisterType type = RegisterType::NO_FIELD;
    uint32_t mask = 0;
    volatile uint32_t* word = nullptr;  // none without a field
    std::vector<std::string> names;     // the name, then its aliases
};

uint64_t ParseRegisterAddress(const std::string& text) {
    try {
        return uint64_t(ParseAddress(text));
    } catch (const MonitorException&) {
        throw MonitorException("REG: bad address");
    }
}

RegisterType ParseType(const std::string& direction) {
    if (direction == "r")
        return RegisterType::READ_ONLY;
    if (direction == "w")
        return RegisterType::WRITE_ONLY;
    if (direction == "rw")
        return RegisterType::READ_WRITE;
    throw MonitorException("REG: direction must be 'r', 'w', or 'rw'");
}

/// The field that a line describes, not mapped yet.
Register ParseField(const std::vector<std::string>& words) {
    if (words.size() < 3)
        throw MonitorException("REG: too few fields");
    const std::string& bits = words[1];
    const std::string& direction = words[2];

    Register field;
    field.address = ParseRegisterAddress(words[0]);
    if (bits == "-") {
        if (direction != "-")
            throw MonitorException("REG: if bit range is '-', direction must be '-'");
    } else {
        if (!ParseU32Range(bits, &field.high, &field.low, ':') || field.high >= kWordBits ||
            field.high < field.low)
            throw MonitorException("REG: bad bit range");
        field.type = ParseType(direction);
        field.mask = ~uint32_t{0} >> (kWordBits - field.Width()) << field.low;
    }
    field.names.assign(words.begin() + 3, words.end());
    return field;
}

uint32_t ParseValue(const std::string& text) {
    try {
        return ParseU32(text, 0);
    } catch (const MonitorException&) {
        throw MonitorException("REG: bad value");
    }
}

std::list<std::string> Usage(const std::string& command) {
    const char* const word = command.c_str();
    return {kHelpEntry,
            "",
            Format("%s list            list all fields", word),
            Format("%s list <pattern>  list specified fields(s)", word),
            Format("%s <pattern>       show value of one or more field(s)", word),
            Format("%s <name> <value>  set value of a field", word),
            "",
            "  <pattern> is a field name with optional * wildcard(s)",
            "  <name>    is a field name",
            "  <value>   is an value (decimal, or 0x for hex)"};
}

}  // namespace

class RegisterAccess::Impl {
public:
    explicit Impl(DeviceIO& io) : io_(io), pages_(io) {}

    const Register& Find(const std::string& name) const {
        const std::optional<size_t> found = names_.Find(name);
        if (!found)
            throw MonitorException("REG: unknown register \"%s\"", name.c_str());
        return fields_[*found];
    }

    uint32_t Get(const Register& field) const {
        if (!field.IsReadable())
            throw MonitorException("REG: field \"%s\" is not readable", field.names.front().c_str());
        return (io_.Read32(field.word) & field.mask) >> field.low;
    }

    void Set(const Register& field, uint32_t value) {
        if (!field.IsWritable())
            throw MonitorException("REG: field \"%s\" is not writable", field.names.front().c_str());
        // In 32 bits, deliberately: what is shifted out at the top is not missed.
        const uint32_t shifted = value << field.low;
        if (shifted & ~field.mask)
            throw MonitorException("REG: value 0x%X will not fit in %u-bit field", value, field.Width());
        io_.Write32(field.word, (io_.Read32(field.word) & ~field.mask) | shifted);
    }

    void Add(Register field) {
        if (const std::string* const name = names_.FindDuplicate(field.names))
            throw MonitorException("REG: Attempt to add duplicate name \"%s\"", name->c_str());
        if (field.address % sizeof(uint32_t) != 0)
            // The text's own 0x stands before the one that %p prints.
            throw MonitorException("REG: Register at unaligned address 0x%p",
                                   reinterpret_cast<void*>(field.address));
        if (field.type != RegisterType::NO_FIELD)
            field.word = pages_.Word(field.address);
        names_.Add(field.names, fields_.size());
        fields_.push_back(std::move(field));
    }

    std::list<std::string> List(const std::string& pattern, bool isDetailed) const;

private:
    /// The fields with a name that the pattern matches, in order of configuration.
    std::vector<const Register*> Matching(const std::string& pattern) const;
    std::list<std::string> Row(const Register& field, bool isDetailed) const;

    DeviceIO& io_;
    RegisterPages pages_;
    std::vector<Register> fields_;  // as they were configured
    NameTable names_;
};

std::list<std::string> RegisterAccess::Impl::Row(const Register& field, bool isDetailed) const {
    std::list<std::string> row = {field.names.front()};
    if (isDetailed) {
        row.push_back(Format("0x%tX", ptrdiff_t(field.address)));
        if (field.type == RegisterType::NO_FIELD)
            row.push_back("-");
        else if (field.high == field.low)
            row.push_back(Format("%u", field.high));
        else
            row.push_back(Format("%u:%u", field.high, field.low));
    }
    row.push_back(field.IsReadable() ? FormatHexU32(Get(field), field.Width()) : "");
    row.push_back(AliasCell(field.names));
    return row;
}

std::vector<const Register*> RegisterAccess::Impl::Matching(const std::string& pattern) const {
    std::vector<const Register*> matching;
    if (pattern.find('*') == std::string::npos) {  // only the name that equals it matches
        if (const std::optional<size_t> found = names_.Find(pattern))
            matching.push_back(&fields_[*found]);
        return matching;
    }
    for (const Register& field : fields_)
        if (AnyMatches(field.names, pattern))
            matching.push_back(&field);
    return matching;
}

std::list<std::string> RegisterAccess::Impl::List(const std::string& pattern, bool isDetailed) const {
    std::list<std::list<std::string>> rows;
    for (const Register* field : Matching(pattern))
        rows.push_back(Row(*field, isDetailed));
    if (rows.empty())
        return {"REG: no matching registers"};
    rows.push_front(isDetailed ? std::list<std::string>{"name", "address", "bits", "value", "aliases"}
                               : std::list<std::string>{"name", "value", "aliases"});
    return FormatColumnarList(rows);
}

RegisterAccess::RegisterAccess(DeviceIO& io) : impl_(std::make_unique<Impl>(io)) {}

RegisterAccess::~RegisterAccess() = default;

uint32_t RegisterAccess::Get(const std::string& name) const {
    return impl_->Get(impl_->Find(name));
}

void RegisterAccess::Set(const std::string& name, uint32_t value) {
    impl_->Set(impl_->Find(name), value);
}

uint64_t RegisterAccess::Address(const std::string& name) const {
    return impl_->Find(name).address;
}

std::set<std::string> RegisterAccess::GetConsoleCommands(bool withDescriptions) const {
    return {withDescriptions ? kHelpEntry : kCommand};
}

std::set<std::string> RegisterAccess::GetConfigurationSections() const {
    return {"reg"};
}

void RegisterAccess::Configure(const std::string&, const std::vector<std::string>& words) {
    impl_->Add(ParseField(words));
}

std::list<std::string> RegisterAccess::Execute(const std::string& command,
                                               const std::vector<std::string>& words) {
    if (words.empty())
        return Usage(command);
    if (words.size() > 2)
        throw MonitorException("REG: too many words in command");
    if (words[0] == "list")
        return impl_->List(words.size() > 1 ? words[1] : "*", true);
    if (words.size() == 1)
        return impl_->List(words[0], false);
    const uint32_t value = ParseValue(words[1]);
    impl_->Set(impl_->Find(words[0]), value);
    return {};
}

}  // namespace quarn
