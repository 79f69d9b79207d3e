#include <quarn/IncomingMessage.h>
#include <quarn/MonitorException.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/SentenceGrammar.h>
#include <quarn/Text.h>
#include <quarn/Variable.h>
#include <quarn/VariableDetails.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariableIndex.h>

#include "messages/MessageDecoder.h"
#include "messages/SentenceWord.h"
#include "values/BigEndian.h"
#include "values/VariantBlob.h"

#include <stddef.h>

#include <memory>

namespace quarn {
namespace {

// Reads the words of a sentence from its payload; words that are there already lend their memory.
void ReadWords(const uint8_t* position, size_t remaining, const std::vector<VariantType>& types,
               std::vector<VariantValue>& words) {
    size_t count = 0;
    while (remaining > 0) {
        if (count >= types.size())
            throw MonitorException("Too many words in message");
        if (*position != kWordSync)
            throw MonitorException("Expected word sync; got %02X", *position);
        if (remaining < kWordHeader)
            throw MonitorException("Not enough bytes for word length");
        const size_t length = LoadBigEndian<uint32_t>(position + 1);
        position += kWordHeader;
        remaining -= kWordHeader;
        if (length > remaining)
            throw MonitorException("Word length exceeds length of message");
        if (count == words.size())
            words.emplace_back();
        VariantBlob::Read(words[count], types[count], position, length);
        ++count;
        position += length;
        remaining -= length;
    }
    words.erase(words.begin() + ptrdiff_t(count), words.end());
}

}  // namespace

void IncomingMessage::Clear() {
    bytes_.clear();
    headerSize_ = 0;
    payloadSize_ = 0;
    tag_ = 0;
    stream_ = 0;
}

size_t IncomingMessage::Populate(const uint8_t* data, size_t available) {
    Clear();
    const DecodedMessage found = DecodeMessage(data, available, DirectCRC());
    if (found.status == DecodeStatus::INCOMPLETE)
        return 0;
    if (found.status != DecodeStatus::COMPLETE)
        throw MonitorException("%s", DescribeDecodeFailure(found.status, data[0]).c_str());
    CheckedMessage::Store(*this, data, found);
    return found.totalSize;
}

bool IncomingMessage::Apply(VariableIndex& index) const {
    Variant* const reference = index.GetReference(tag_);
    if (!reference)
        return false;
    if (bytes_.empty())
        throw MonitorException("Attempting to apply an empty message");
    reference->FromBlob(Payload(), payloadSize_);
    return true;
}

Variable IncomingMessage::ToVariable(const VariableDictionary& dictionary) const {
    if (bytes_.empty())
        throw MonitorException("Attempting to create an item from an empty message");
    const VariableDetails& details = dictionary.Find(tag_);
    Variable variable(details);
    variable.GetValue().FromBlob(details.GetType(), Payload(), payloadSize_);
    return variable;
}

Sentence* IncomingMessage::CreateSentence(const SentenceGrammar& grammar) const {
    const SentenceDetails* const details = FindSentence(grammar);
    if (!details)
        return nullptr;
    auto sentence = std::make_unique<Sentence>(*details);
    sentence->words_.reserve(details->GetTypes().size());
    ReadSentence(*sentence);
    return sentence.release();
}

bool IncomingMessage::ToSentence(const SentenceGrammar& grammar, Sentence& sentence) const {
    const SentenceDetails* const details = FindSentence(grammar);
    if (!details)
        return false;
    sentence.details_ = details;
    try {
        ReadSentence(sentence);
    } catch (...) {
        sentence.words_.clear();
        throw;
    }
    return true;
}

const SentenceDetails* IncomingMessage::FindSentence(const SentenceGrammar& grammar) const {
    if (bytes_.empty())
        throw MonitorException("Attempting to create an item from an empty message");
    return grammar.Find(tag_, false);
}

void IncomingMessage::ReadSentence(Sentence& sentence) const {
    const std::vector<VariantType>& types = sentence.details_->GetTypes();
    std::vector<VariantValue>& words = sentence.words_;
    ReadWords(Payload(), payloadSize_, types, words);
    if (words.size() < types.size() && !sentence.details_->IsOpenEnded())
        throw MonitorException("Message contained only %zu of %zu word(s)", words.size(), types.size());
}

std::string IncomingMessage::ToString() const {
    return FormatHexByteVectorUnprefixedSeparated(bytes_, " ");
}

uint8_t IncomingMessage::GetNOP() {
    return kMessageNOP;
}

}  // namespace quarn
