#pragma once

/// The schema of a system's variables: which tag and which key stand for a variable of which type.
///
///     quarn::VariableDictionary dictionary("receiver");
///     try {
///         dictionary.Add(0x00010001, "rf.gain", quarn::VariantType::INT16);
///         dictionary.Add(0x00010002, "rf.gain", quarn::VariantType::INT16);
///     } catch (const quarn::MonitorException& e) {
///         // Attempting to add duplicate key "rf.gain" to dictionary "receiver"
///         puts(e.Description().c_str());
///     }
///     for (const quarn::VariableDetails* details : dictionary.Query("rf.*"))
///         puts(details->GetKey().c_str());
///
/// Not locked: built at start-up by one thread and then only read, by any.

#include <quarn/Attributes.h>
#include <quarn/Variant.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <string>

namespace quarn {

class VariableDetails;

class QUARN_API VariableDictionary {
public:
    /// The name appears in messages.
    explicit VariableDictionary(const std::string& name);
    ~VariableDictionary();
    VariableDictionary(const VariableDictionary&) = delete;
    VariableDictionary& operator=(const VariableDictionary&) = delete;

    /// Adds a variable. Throws MonitorException "Attempting to add duplicate tag %s to dictionary \"%s\"" or
    /// "Attempting to add duplicate key \"%s\" to dictionary \"%s\"" and then adds nothing.
    void Add(uint32_t tag, const std::string& key, VariantType type);

    /// The details, which live as long as the dictionary. Throws MonitorException "No variable registered in
    /// dictionary %s for code %s" or "No variable registered in dictionary %s for key %s".
    const VariableDetails& Find(uint32_t tag) const;
    const VariableDetails& Find(const std::string& key) const;

    /// The variables whose keys match the pattern (see Wildcard), ordered by the bytes of their keys.
    std::list<const VariableDetails*> Query(const std::string& pattern) const;
    /// What each pattern in turn matches, each variable once, where it matched first.
    std::list<const VariableDetails*> Query(const std::list<std::string>& patterns) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
