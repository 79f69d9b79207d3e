#pragma once

#include <stddef.h>

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace quarn {

/// Which item of a list a name or an alias belongs to; both share one name space.
class NameTable {
public:
    /// The first name that an item has already or that stands twice among these, or null.
    const std::string* FindDuplicate(const std::vector<std::string>& names) const;
    /// None of them may be in the table.
    void Add(const std::vector<std::string>& names, size_t item);

    std::optional<size_t> Find(const std::string& name) const {
        const auto found = items_.find(name);
        if (found == items_.end())
            return std::nullopt;
        return found->second;
    }

private:
    std::unordered_map<std::string, size_t> items_;
};

/// Whether one of the names matches the wildcard pattern, case mattering.
bool AnyMatches(const std::vector<std::string>& names, const std::string& pattern);

/// All but the first.
std::string AliasCell(const std::vector<std::string>& names);

}  // namespace quarn
