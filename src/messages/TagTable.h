#pragma once

// What dictionaries and grammars have in common: details that are found by tag, by key and by pattern.

#include <quarn/MonitorException.h>
#include <quarn/TagDetails.h>
#include <quarn/Wildcard.h>

#include <stdint.h>

#include <list>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace quarn {

/// Owns the details, which stay where they are. `Details` is a TagDetails.
template <class Details>
class TagTable {
public:
    /// The kind of the owner, a literal, and its name appear in messages.
    TagTable(const char* kind, const std::string& name) : kind_(kind), name_(name) {}

    const std::string& GetName() const { return name_; }

    /// Constructs details from the tag, the key and the other arguments. Throws for a duplicate, unchanged.
    template <class... Arguments>
    void Add(uint32_t tag, const std::string& key, Arguments&&... arguments) {
        if (byTag_.count(tag))
            throw MonitorException("Attempting to add duplicate tag %s to %s \"%s\"",
                                   TagDetails::TagAsString(tag).c_str(), kind_, name_.c_str());
        if (byKey_.count(key))
            throw MonitorException("Attempting to add duplicate key \"%s\" to %s \"%s\"", key.c_str(), kind_,
                                   name_.c_str());
        const auto added = byTag_.try_emplace(tag, tag, key, std::forward<Arguments>(arguments)...).first;
        byKey_.emplace(key, &added->second);
    }

    /// Null when there are none.
    const Details* Find(uint32_t tag) const {
        const auto found = byTag_.find(tag);
        return found == byTag_.end() ? nullptr : &found->second;
    }
    const Details* Find(const std::string& key) const {
        const auto found = byKey_.find(key);
        return found == byKey_.end() ? nullptr : found->second;
    }

    /// What each pattern in turn matches, in the order of the keys; each details once, where first matched.
    std::list<const Details*> Query(const std::list<std::string>& patterns) const {
        std::list<const Details*> matches;
        std::set<const Details*> seen;
        for (const std::string& pattern : patterns)
            for (const auto& [key, details] : byKey_)
                if (Wildcard::Match(key, pattern, true) && seen.insert(details).second)
                    matches.push_back(details);
        return matches;
    }

private:
    const char* kind_;
    std::string name_;
    std::map<uint32_t, Details> byTag_;
    std::map<std::string, const Details*> byKey_;
};

}  // namespace quarn
