#pragma once

/// What a grammar knows of one sentence: tag, key, the types of its words, and whether some may be missing.
///
///     const quarn::SentenceDetails* details = grammar.Find("subscribe", false);
///     if (!details)
///         puts("no such sentence");
///     else
///         printf("%zu words\n", details->GetTypes().size());

#include <quarn/Attributes.h>
#include <quarn/TagDetails.h>
#include <quarn/Variant.h>

#include <stdint.h>

#include <string>
#include <vector>

namespace quarn {

class SentenceGrammar;

class QUARN_API SentenceDetails : public TagDetails {
public:
    /// The grammar must outlive this object; SentenceGrammar::Add() makes and owns the usual ones.
    SentenceDetails(uint32_t tag, const std::string& key, const SentenceGrammar& grammar,
                    const std::vector<VariantType>& types, bool openEnded);

    const SentenceGrammar& GetGrammar() const { return grammar_; }
    /// The types of the words in order. A received sentence never has more words than these.
    const std::vector<VariantType>& GetTypes() const { return types_; }
    /// Whether a received sentence may end early.
    bool IsOpenEnded() const { return openEnded_; }

private:
    const SentenceGrammar& grammar_;
    std::vector<VariantType> types_;
    bool openEnded_;
};

}  // namespace quarn
