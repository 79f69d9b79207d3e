#pragma once

/// The sentences that one protocol knows: for each tag a key and the types of the words.
///
///     quarn::SentenceGrammar grammar("unit");
///     using quarn::VariantType;
///     grammar.Add(1, "mute", 0, VariantType::UINT16, VariantType::BOOLEAN, VariantType::NONE);
///     try {
///         std::unique_ptr<quarn::Sentence> sentence(grammar.CreateSentence(&message));
///         if (sentence)
///             Mute(sentence->Word(0), sentence->Word(1));
///     } catch (const quarn::MonitorException& e) {  // words that do not fit the grammar
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///
/// Not locked: built by one thread and then only read, by any.

#include <quarn/Attributes.h>
#include <quarn/Variant.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

namespace quarn {

class IncomingMessage;
class OutgoingMessage;
class Sentence;
class SentenceDetails;
class VariantValue;

class QUARN_API SentenceGrammar {
public:
    /// The name appears in messages.
    explicit SentenceGrammar(const std::string& name);
    ~SentenceGrammar();
    SentenceGrammar(const SentenceGrammar&) = delete;
    SentenceGrammar& operator=(const SentenceGrammar&) = delete;

    /// Adds a sentence: after the flag, non-zero for open-ended, the VariantType of each word and
    /// VariantType::NONE as the end. Throws MonitorException "Invalid type for sentence %s in grammar %s
    /// (unterminated list?)", "Attempting to add duplicate tag %s to grammar \"%s\"" or "Attempting to add
    /// duplicate key \"%s\" to grammar \"%s\"" and then adds nothing.
    void Add(uint32_t tag, const std::string& key, int openEnded, ...);

    /// The details, which live as long as the grammar; null when there are none and they need not exist.
    /// Throws MonitorException "No sentence registered in grammar %s for tag %s" or "No sentence registered
    /// in grammar %s for key %s" when they must.
    const SentenceDetails* Find(uint32_t tag, bool mustExist) const;
    const SentenceDetails* Find(const std::string& key, bool mustExist) const;

    /// The sentences whose keys match the pattern (see Wildcard), ordered by the bytes of their keys.
    std::list<const SentenceDetails*> Query(const std::string& pattern) const;
    /// What each pattern in turn matches, each sentence once, where it matched first.
    std::list<const SentenceDetails*> Query(const std::list<std::string>& patterns) const;

    /// A message to send; the caller owns it. The words are not checked against the types. Throws
    /// MonitorException when there is no such sentence or a word is untyped.
    OutgoingMessage* CreateOutgoingMessage(uint32_t tag, const std::vector<VariantValue>& words) const;
    /// The sentence that the message carries, or null when its tag is not in this grammar; the caller owns
    /// it, and the grammar must outlive it. Throws as IncomingMessage::CreateSentence() does.
    Sentence* CreateSentence(IncomingMessage* message) const;
    /// A sentence with a copy of the words, which are not checked against the types; the caller owns it, and
    /// the grammar must outlive it. Throws MonitorException when there is no such sentence.
    Sentence* CreateSentence(uint32_t tag, const std::vector<VariantValue>& words) const;

    /// A table for a console, a heading first: tag, key and the types of the words of each of the tags that
    /// is in this grammar, in the order given; "..." ends an open-ended sentence, "-" stands for no words.
    std::list<std::string> List(const std::list<uint32_t>& tags) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
