#pragma once

/// Binds the variables of a dictionary to live program variables, so that text, messages and storage can read
/// and write them by tag.
///
///     int16_t gain = 0;
///     quarn::VariableIndex index("front end", dictionary);
///     index.Add(0x00010001, &gain, CATEGORY_RF);
///     try {
///         index.Assign("rf.gain", "-12");
///         index.Assign("rf.gain", "loud");
///     } catch (const quarn::MonitorException& e) {
///         puts(e.Description().c_str());  // what is wrong with "loud"; gain is still -12
///     }
///     for (const quarn::OutgoingMessage& message : index.CreateOutgoingMessages(CATEGORY_RF))
///         terminal.Put(message);
///
/// A category filter of 0 lets every registered tag pass; any other lets pass the tags whose category mask
/// shares a bit with it, and so none that was registered with categories 0.
///
/// Not locked: the thread that owns the variables uses the index, or all do under one lock.

#include <quarn/Attributes.h>
#include <quarn/Variant.h>

#include <stdint.h>

#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace quarn {

class IPAddress;
class IncomingMessage;
class OutgoingMessage;
class VariableDictionary;
class VariantValue;

class QUARN_API VariableIndex {
public:
    /// The dictionary must outlive the index.
    VariableIndex(const std::string& name, VariableDictionary& dictionary);
    ~VariableIndex();
    VariableIndex(const VariableIndex&) = delete;
    VariableIndex& operator=(const VariableIndex&) = delete;

    std::string GetName() const;
    const VariableDictionary& GetDictionary() const;

    /// Registers a program variable, which must outlive the index, with its category mask. Whether the
    /// dictionary knows the tag is not checked here.
    /// Throws MonitorException "Attempting to add duplicate tag %s to index \"%s\"". The failed entry
    /// deliberately stays behind the registered ones: LastTag() and CreateOutgoingMessages() see it, while
    /// GetReference() and the category mask remain those of the first.
    void Add(uint32_t tag, uint8_t* variable, uint32_t categories);
    void Add(uint32_t tag, std::vector<uint8_t>* variable, uint32_t categories);
    void Add(uint32_t tag, int16_t* variable, uint32_t categories);
    void Add(uint32_t tag, uint16_t* variable, uint32_t categories);
    void Add(uint32_t tag, int32_t* variable, uint32_t categories);
    void Add(uint32_t tag, uint32_t* variable, uint32_t categories);
    void Add(uint32_t tag, std::vector<uint32_t>* variable, uint32_t categories);
    void Add(uint32_t tag, float* variable, uint32_t categories);
    void Add(uint32_t tag, std::string* variable, uint32_t categories);
    void Add(uint32_t tag, IPAddress* variable, uint32_t categories);
    void Add(uint32_t tag, std::vector<IPAddress>* variable, uint32_t categories);
    void Add(uint32_t tag, bool* variable, uint32_t categories);
    void Add(uint32_t tag, std::vector<std::string>* variable, uint32_t categories);
    void Add(uint32_t tag, std::vector<int32_t>* variable, uint32_t categories);
    void Add(uint32_t tag, std::vector<float>* variable, uint32_t categories);
    void Add(uint32_t tag, int64_t* variable, uint32_t categories);
    void Add(uint32_t tag, uint64_t* variable, uint32_t categories);
    void Add(uint32_t tag, std::vector<uint64_t>* variable, uint32_t categories);
    /// The same for a variable behind functions. Either may be empty: using it then throws MonitorException
    /// "Attempted to get ungettable variant reference" or "Attempted to set unsettable variant reference".
    void Add(uint32_t tag, VariantType type, std::function<VariantValue()> getter,
             std::function<void(const VariantValue&)> setter, uint32_t categories);

    /// The registered variable, owned by the index; null for an unregistered tag.
    Variant* GetReference(uint32_t tag);
    const Variant* GetReference(uint32_t tag) const;
    /// The category mask, 0 for an unregistered tag.
    uint32_t GetCategoriesByTag(uint32_t tag) const;
    /// The tag of the latest Add(), failed ones included; 0 when there was none.
    uint32_t LastTag() const;

    /// Keeps a tag out of persistent storage.
    void MarkNonpersistent(uint32_t tag);
    std::set<uint32_t> GetNonpersistentTags() const;

    /// Sets a variable from text. Throws MonitorException "Attempting to assign unknown/inaccessible tag %s"
    /// for an unregistered tag, VariableDictionary::Find()'s for an unknown key and the parser's for the
    /// text.
    void Assign(uint32_t tag, const std::string& text);
    void Assign(const std::string& key, const std::string& text);
    /// Copies one variable from another index. Throws MonitorException "Tag %s unknown as destination of
    /// assignment", "Tag %s unknown as source of assignment", or Variant::Assign()'s.
    void Assign(uint32_t tag, const VariableIndex& source);

    /// Whether one variable is the same here and there. Throws MonitorException "Tag %s unknown as left-hand
    /// side of equality comparison", "Tag %s unknown as right-hand side of equality comparison", or
    /// Variant::Equal()'s, which is also printed with mask ERR.
    bool IsEqual(uint32_t tag, const VariableIndex& other) const;

    /// One message for each registration that passes the filter, in that order. Throws MonitorException when
    /// the dictionary lacks one of the tags or a value cannot be read.
    std::list<OutgoingMessage> CreateOutgoingMessages(uint32_t categories) const;
    /// The same without the variables that `other` has with an equal value.
    std::list<OutgoingMessage> CreateOutgoingMessages(const VariableIndex& other, uint32_t categories) const;

    /// Applies each message that passes the filter. Messages with unregistered tags or bad values are printed
    /// with mask ERR and passed over; nothing is thrown for them. The data version is deliberately not looked
    /// at: loading does not depend on it.
    void Load(const std::list<IncomingMessage*>& messages, uint32_t dataVersion, uint32_t categories);

    /// The tags that VariableDictionary::Query() finds and this index has, in the dictionary's order.
    std::list<uint32_t> Query(const std::string& pattern) const;
    std::list<uint32_t> Query(const std::list<std::string>& patterns) const;

    /// Appends (key, value as text) for each tag in order, leaving out tags that are not registered.
    void Get(const std::list<uint32_t>& tags, std::list<std::pair<std::string, std::string>>& out) const;

    /// A table for a console, a heading first: tag, key, type and value of each registered one of the tags,
    /// with `showCategories` also the category mask, "-" for none, and whether the tag is persistent. A value
    /// that cannot be read shows the reason in parentheses instead.
    std::list<std::string> List(const std::list<uint32_t>& tags, bool showCategories) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
