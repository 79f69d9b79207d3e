#include <quarn/IncomingMessage.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/SentenceGrammar.h>
#include <quarn/Text.h>

#include "messages/TagTable.h"

#include <stdarg.h>

namespace quarn {

class SentenceGrammar::Impl {
public:
    explicit Impl(const std::string& name) : table("grammar", name) {}

    TagTable<SentenceDetails> table;
};

SentenceGrammar::SentenceGrammar(const std::string& name) : impl_(std::make_unique<Impl>(name)) {}

SentenceGrammar::~SentenceGrammar() = default;

void SentenceGrammar::Add(uint32_t tag, const std::string& key, int openEnded, ...) {
    std::vector<VariantType> types;
    bool isValid = true;
    va_list arguments;
    va_start(arguments, openEnded);
    // Read as int, and made a type only once it is known to be one: behind a forgotten end there may be
    // anything.
    while (const int code = va_arg(arguments, int)) {
        isValid = code > 0 && Variant::IsTypeValid(static_cast<VariantType>(code));
        if (!isValid)
            break;
        types.push_back(static_cast<VariantType>(code));
    }
    va_end(arguments);
    if (!isValid)
        throw MonitorException("Invalid type for sentence %s in grammar %s (unterminated list?)",
                               TagDetails::TagAsString(tag).c_str(), impl_->table.GetName().c_str());
    impl_->table.Add(tag, key, *this, types, openEnded != 0);
}

const SentenceDetails* SentenceGrammar::Find(uint32_t tag, bool mustExist) const {
    const SentenceDetails* const details = impl_->table.Find(tag);
    if (!details && mustExist)
        throw MonitorException("No sentence registered in grammar %s for tag %s",
                               impl_->table.GetName().c_str(), TagDetails::TagAsString(tag).c_str());
    return details;
}

const SentenceDetails* SentenceGrammar::Find(const std::string& key, bool mustExist) const {
    const SentenceDetails* const details = impl_->table.Find(key);
    if (!details && mustExist)
        throw MonitorException("No sentence registered in grammar %s for key %s",
                               impl_->table.GetName().c_str(), key.c_str());
    return details;
}

std::list<const SentenceDetails*> SentenceGrammar::Query(const std::string& pattern) const {
    return impl_->table.Query({pattern});
}

std::list<const SentenceDetails*> SentenceGrammar::Query(const std::list<std::string>& patterns) const {
    return impl_->table.Query(patterns);
}

OutgoingMessage* SentenceGrammar::CreateOutgoingMessage(uint32_t tag,
                                                        const std::vector<VariantValue>& words) const {
    return new OutgoingMessage(*Find(tag, true), words);
}

Sentence* SentenceGrammar::CreateSentence(IncomingMessage* message) const {
    return message->CreateSentence(*this);
}

Sentence* SentenceGrammar::CreateSentence(uint32_t tag, const std::vector<VariantValue>& words) const {
    auto sentence = std::make_unique<Sentence>(*Find(tag, true));
    sentence->GetWords() = words;
    return sentence.release();
}

std::list<std::string> SentenceGrammar::List(const std::list<uint32_t>& tags) const {
    std::list<std::list<std::string>> rows = {{"Tag", "Sentence", "Words"}};
    for (uint32_t tag : tags) {
        const SentenceDetails* const details = Find(tag, false);
        if (!details)
            continue;
        std::string types;
        for (VariantType type : details->GetTypes())
            Append(types, Variant::TypeName(type), " ");
        if (details->IsOpenEnded())
            Append(types, "...", " ");
        rows.push_back({TagDetails::TagAsString(tag), details->GetKey(), types.empty() ? "-" : types});
    }
    return FormatColumnarList(rows);
}

}  // namespace quarn
