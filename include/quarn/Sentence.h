#pragma once

/// A command or event made of typed words, as received or about to be sent.
///
///     try {
///         std::unique_ptr<quarn::Sentence> sentence(grammar.CreateSentence(&message));
///         if (!sentence)
///             return;  // not of this grammar
///         uint16_t channel = sentence->Word(0);
///         std::string name = sentence->Word(1);
///     } catch (const quarn::MonitorException& e) {  // words that do not fit the grammar, or these variables
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }

#include <quarn/Attributes.h>
#include <quarn/VariantValue.h>

#include <stddef.h>

#include <list>
#include <string>
#include <vector>

namespace quarn {

class SentenceDetails;

class QUARN_API Sentence {
public:
    /// A sentence without words. The details must outlive it.
    explicit Sentence(const SentenceDetails& details) : details_(&details) {}

    const SentenceDetails& GetDetails() const { return *details_; }
    const std::vector<VariantValue>& GetWords() const { return words_; }
    std::vector<VariantValue>& GetWords() { return words_; }

    /// A word, the first having index 0. Throws MonitorException "Accessing word %zu of a sentence with %zu
    /// words", which deliberately counts from 1 as users do, when there is none.
    const VariantValue& Word(size_t index) const;

    /// The words as text, joined with ", ".
    std::string ToString() const;
    /// The words as text, one each.
    std::list<std::string> ToStrings() const;

private:
    friend class IncomingMessage;

    const SentenceDetails* details_;
    std::vector<VariantValue> words_;
};

}  // namespace quarn
