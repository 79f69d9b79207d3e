#include <quarn/VariableDetails.h>
#include <quarn/VariableDictionary.h>

#include "messages/TagTable.h"

namespace quarn {

class VariableDictionary::Impl {
public:
    explicit Impl(const std::string& name) : table("dictionary", name) {}

    TagTable<VariableDetails> table;
};

VariableDictionary::VariableDictionary(const std::string& name) : impl_(std::make_unique<Impl>(name)) {}

VariableDictionary::~VariableDictionary() = default;

void VariableDictionary::Add(uint32_t tag, const std::string& key, VariantType type) {
    impl_->table.Add(tag, key, *this, type);
}

const VariableDetails& VariableDictionary::Find(uint32_t tag) const {
    const VariableDetails* const details = impl_->table.Find(tag);
    if (!details)
        throw MonitorException("No variable registered in dictionary %s for code %s",
                               impl_->table.GetName().c_str(), TagDetails::TagAsString(tag).c_str());
    return *details;
}

const VariableDetails& VariableDictionary::Find(const std::string& key) const {
    const VariableDetails* const details = impl_->table.Find(key);
    if (!details)
        throw MonitorException("No variable registered in dictionary %s for key %s",
                               impl_->table.GetName().c_str(), key.c_str());
    return *details;
}

std::list<const VariableDetails*> VariableDictionary::Query(const std::string& pattern) const {
    return impl_->table.Query({pattern});
}

std::list<const VariableDetails*> VariableDictionary::Query(const std::list<std::string>& patterns) const {
    return impl_->table.Query(patterns);
}

}  // namespace quarn
