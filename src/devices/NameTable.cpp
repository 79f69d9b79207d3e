#include "devices/NameTable.h"

#include <quarn/Text.h>
#include <quarn/Wildcard.h>

#include <algorithm>
#include <unordered_set>

namespace quarn {

const std::string* NameTable::FindDuplicate(const std::vector<std::string>& names) const {
    std::unordered_set<std::string> seen;
    for (const std::string& name : names)
        if (items_.count(name) != 0 || !seen.insert(name).second)
            return &name;
    return nullptr;
}

void NameTable::Add(const std::vector<std::string>& names, size_t item) {
    for (const std::string& name : names)
        items_.emplace(name, item);
}

bool AnyMatches(const std::vector<std::string>& names, const std::string& pattern) {
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& name) { return Wildcard::Match(name, pattern, true); });
}

std::string AliasCell(const std::vector<std::string>& names) {
    std::string cell;
    for (size_t i = 1; i < names.size(); ++i)
        Append(cell, names[i], ", ");
    return cell;
}

}  // namespace quarn
