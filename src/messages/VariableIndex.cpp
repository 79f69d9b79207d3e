#include <quarn/Debug.h>
#include <quarn/IPAddress.h>
#include <quarn/IncomingMessage.h>
#include <quarn/MonitorException.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/TagDetails.h>
#include <quarn/Text.h>
#include <quarn/VariableDetails.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariableIndex.h>
#include <quarn/VariantReference.h>
#include <quarn/VariantValue.h>

#include <unordered_map>

namespace quarn {

class VariableIndex::Impl {
public:
    struct Entry {
        uint32_t tag;
        std::unique_ptr<VariantReference> reference;
    };

    Impl(const std::string& indexName, VariableDictionary& indexDictionary)
        : name(indexName), dictionary(indexDictionary) {}

    void Register(uint32_t tag, std::unique_ptr<VariantReference> reference, uint32_t mask);
    VariantReference* Find(uint32_t tag) const;
    uint32_t Categories(uint32_t tag) const;
    bool Passes(uint32_t tag, uint32_t filter) const {
        return filter == 0 || (Categories(tag) & filter) != 0;
    }
    std::list<uint32_t> RegisteredTags(const std::list<const VariableDetails*>& found) const;
    std::list<std::string> Row(uint32_t tag, const Variant& reference, bool showCategories) const;

    const std::string name;
    VariableDictionary& dictionary;
    std::list<Entry> entries;
    std::unordered_map<uint32_t, VariantReference*> references;
    std::unordered_map<uint32_t, uint32_t> categories;
    std::set<uint32_t> nonpersistentTags;
};

void VariableIndex::Impl::Register(uint32_t tag, std::unique_ptr<VariantReference> reference, uint32_t mask) {
    entries.push_back({tag, std::move(reference)});
    // A duplicate deliberately stays in the list: messages are made for it too.
    if (!references.emplace(tag, entries.back().reference.get()).second)
        throw MonitorException("Attempting to add duplicate tag %s to index \"%s\"",
                               TagDetails::TagAsString(tag).c_str(), name.c_str());
    if (mask != 0)
        categories[tag] = mask;
}

VariantReference* VariableIndex::Impl::Find(uint32_t tag) const {
    const auto found = references.find(tag);
    return found == references.end() ? nullptr : found->second;
}

uint32_t VariableIndex::Impl::Categories(uint32_t tag) const {
    const auto found = categories.find(tag);
    return found == categories.end() ? 0 : found->second;
}

std::list<uint32_t> VariableIndex::Impl::RegisteredTags(
    const std::list<const VariableDetails*>& found) const {
    std::list<uint32_t> tags;
    for (const VariableDetails* details : found)
        if (Find(details->GetTag()))
            tags.push_back(details->GetTag());
    return tags;
}

std::list<std::string> VariableIndex::Impl::Row(uint32_t tag, const Variant& reference,
                                                bool showCategories) const {
    std::list<std::string> row = {TagDetails::TagAsString(tag)};
    try {
        row.push_back(dictionary.Find(tag).GetKey());
    } catch (const MonitorException&) {
        row.push_back("(not in dictionary)");
    }
    row.push_back(Variant::TypeName(reference.Type()));
    if (showCategories) {
        row.push_back(Categories(tag) ? FormatHexU32(Categories(tag), 32) : "-");
        row.push_back(nonpersistentTags.count(tag) ? "no" : "yes");
    }
    try {
        row.push_back(reference.ToString());
    } catch (const MonitorException& e) {
        row.push_back("(" + e.Description() + ")");
    }
    return row;
}

VariableIndex::VariableIndex(const std::string& name, VariableDictionary& dictionary)
    : impl_(std::make_unique<Impl>(name, dictionary)) {}

VariableIndex::~VariableIndex() = default;

std::string VariableIndex::GetName() const {
    return impl_->name;
}

const VariableDictionary& VariableIndex::GetDictionary() const {
    return impl_->dictionary;
}

#define QUARN_DEFINE_ADD(Type)                                                          \
    void VariableIndex::Add(uint32_t tag, Type* variable, uint32_t categories) {        \
        impl_->Register(tag, std::make_unique<VariantReference>(variable), categories); \
    }
QUARN_DEFINE_ADD(uint8_t)
QUARN_DEFINE_ADD(std::vector<uint8_t>)
QUARN_DEFINE_ADD(int16_t)
QUARN_DEFINE_ADD(uint16_t)
QUARN_DEFINE_ADD(int32_t)
QUARN_DEFINE_ADD(uint32_t)
QUARN_DEFINE_ADD(std::vector<uint32_t>)
QUARN_DEFINE_ADD(float)
QUARN_DEFINE_ADD(std::string)
QUARN_DEFINE_ADD(IPAddress)
QUARN_DEFINE_ADD(std::vector<IPAddress>)
QUARN_DEFINE_ADD(bool)
QUARN_DEFINE_ADD(std::vector<std::string>)
QUARN_DEFINE_ADD(std::vector<int32_t>)
QUARN_DEFINE_ADD(std::vector<float>)
QUARN_DEFINE_ADD(int64_t)
QUARN_DEFINE_ADD(uint64_t)
QUARN_DEFINE_ADD(std::vector<uint64_t>)
#undef QUARN_DEFINE_ADD

void VariableIndex::Add(uint32_t tag, VariantType type, std::function<VariantValue()> getter,
                        std::function<void(const VariantValue&)> setter, uint32_t categories) {
    impl_->Register(tag, std::make_unique<VariantReference>(type, std::move(getter), std::move(setter)),
                    categories);
}

Variant* VariableIndex::GetReference(uint32_t tag) {
    return impl_->Find(tag);
}

const Variant* VariableIndex::GetReference(uint32_t tag) const {
    return impl_->Find(tag);
}

uint32_t VariableIndex::GetCategoriesByTag(uint32_t tag) const {
    return impl_->Categories(tag);
}

uint32_t VariableIndex::LastTag() const {
    return impl_->entries.empty() ? 0 : impl_->entries.back().tag;
}

void VariableIndex::MarkNonpersistent(uint32_t tag) {
    impl_->nonpersistentTags.insert(tag);
}

std::set<uint32_t> VariableIndex::GetNonpersistentTags() const {
    return impl_->nonpersistentTags;
}

void VariableIndex::Assign(uint32_t tag, const std::string& text) {
    Variant* const reference = impl_->Find(tag);
    if (!reference)
        throw MonitorException("Attempting to assign unknown/inaccessible tag %s",
                               TagDetails::TagAsString(tag).c_str());
    reference->FromString(text);
}

void VariableIndex::Assign(const std::string& key, const std::string& text) {
    Assign(impl_->dictionary.Find(key).GetTag(), text);
}

void VariableIndex::Assign(uint32_t tag, const VariableIndex& source) {
    Variant* const to = impl_->Find(tag);
    if (!to)
        throw MonitorException("Tag %s unknown as destination of assignment",
                               TagDetails::TagAsString(tag).c_str());
    const Variant* const from = source.GetReference(tag);
    if (!from)
        throw MonitorException("Tag %s unknown as source of assignment",
                               TagDetails::TagAsString(tag).c_str());
    to->Assign(*from);
}

bool VariableIndex::IsEqual(uint32_t tag, const VariableIndex& other) const {
    const Variant* const left = impl_->Find(tag);
    if (!left)
        throw MonitorException("Tag %s unknown as left-hand side of equality comparison",
                               TagDetails::TagAsString(tag).c_str());
    const Variant* const right = other.GetReference(tag);
    if (!right)
        throw MonitorException("Tag %s unknown as right-hand side of equality comparison",
                               TagDetails::TagAsString(tag).c_str());
    try {
        return left->Equal(*right);
    } catch (const MonitorException&) {
        if (DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__,
                                   "Exception while comparing tag %04X between %s and %s", tag,
                                   other.GetName().c_str(), impl_->name.c_str());
        throw;
    }
}

std::list<OutgoingMessage> VariableIndex::CreateOutgoingMessages(uint32_t categories) const {
    std::list<OutgoingMessage> messages;
    for (const auto& [tag, reference] : impl_->entries)
        if (impl_->Passes(tag, categories))
            messages.emplace_back(impl_->dictionary.Find(tag), *reference);
    return messages;
}

std::list<OutgoingMessage> VariableIndex::CreateOutgoingMessages(const VariableIndex& other,
                                                                 uint32_t categories) const {
    std::list<OutgoingMessage> messages;
    for (const auto& [tag, reference] : impl_->entries) {
        if (!impl_->Passes(tag, categories))
            continue;
        const Variant* const others = other.GetReference(tag);
        if (!others || !reference->Equal(*others))
            messages.emplace_back(impl_->dictionary.Find(tag), *reference);
    }
    return messages;
}

void VariableIndex::Load(const std::list<IncomingMessage*>& messages, uint32_t, uint32_t categories) {
    for (const IncomingMessage* message : messages) {
        const uint32_t tag = message->GetTag();
        if (!impl_->Passes(tag, categories))
            continue;
        try {
            if (!message->Apply(*this) && DefaultDebug())
                DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__,
                                       "Failed to apply tag 0x%X to index \"%s\"", tag, impl_->name.c_str());
        } catch (const MonitorException& e) {
            if (DefaultDebug())
                DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "Exception processing tag 0x%X: %s",
                                       tag, e.Description().c_str());
        }
    }
}

std::list<uint32_t> VariableIndex::Query(const std::string& pattern) const {
    return impl_->RegisteredTags(impl_->dictionary.Query(pattern));
}

std::list<uint32_t> VariableIndex::Query(const std::list<std::string>& patterns) const {
    return impl_->RegisteredTags(impl_->dictionary.Query(patterns));
}

void VariableIndex::Get(const std::list<uint32_t>& tags,
                        std::list<std::pair<std::string, std::string>>& out) const {
    for (uint32_t tag : tags)
        if (const Variant* reference = impl_->Find(tag))
            out.emplace_back(impl_->dictionary.Find(tag).GetKey(), reference->ToString());
}

std::list<std::string> VariableIndex::List(const std::list<uint32_t>& tags, bool showCategories) const {
    std::list<std::list<std::string>> rows = {{"Tag", "Variable", "Type"}};
    if (showCategories)
        rows.front().insert(rows.front().end(), {"Categories", "Persistent"});
    rows.front().push_back("Value");
    for (uint32_t tag : tags)
        if (const Variant* reference = impl_->Find(tag))
            rows.push_back(impl_->Row(tag, *reference, showCategories));
    return FormatColumnarList(rows);
}

}  // namespace quarn
