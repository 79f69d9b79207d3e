// The payload of a message as a sentence: byte 0 chooses the sentence.

#include <quarn/quarn.h>

#include "fuzz/Fuzz.h"

#include <memory>

namespace quarn::test {
namespace {

constexpr uint32_t kOneWordTags = 16;  // and the code of the word's type

void AddSentences(SentenceGrammar& grammar) {
    using enum VariantType;
    for (int32_t code = 1; Variant::IsTypeValid(code); ++code)
        grammar.Add(kOneWordTags + uint32_t(code), "word " + std::to_string(code), 0, code, NONE);
    grammar.Add(0, "nothing", 0, NONE);
    grammar.Add(1, "perhaps nothing", 1, NONE);
    grammar.Add(2, "mixed", 0, UINT16, STRING, STRING_LIST, BOOLEAN, UINT8_VECTOR, NONE);
    grammar.Add(3, "perhaps mixed", 1, UINT16, STRING, STRING_LIST, BOOLEAN, UINT8_VECTOR, NONE);
}

IncomingMessage Carry(const OutgoingMessage& sent) {
    IncomingMessage message;
    Require(message.Populate(sent.Sync(), sent.Bytes()) == sent.Bytes(), "what was encoded is no message");
    return message;
}

IncomingMessage MessageWith(uint32_t tag, const Bytes& payload) {
    VariableDictionary dictionary("fuzz");
    dictionary.Add(tag, "payload", VariantType::UINT8_VECTOR);
    return Carry(OutgoingMessage(dictionary.Find(tag), VariantValue(payload)));
}

void CheckWords(const Sentence& sentence, size_t payloadSize) {
    const std::vector<VariantType>& types = sentence.GetDetails().GetTypes();
    const std::vector<VariantValue>& words = sentence.GetWords();
    Require(words.size() <= types.size(), "more words than types");
    Require(words.size() == types.size() || sentence.GetDetails().IsOpenEnded(), "fewer words than types");
    for (size_t i = 0; i < words.size(); ++i)
        Require(sentence.Word(i).Type() == types[i], "a word of another type");
    Require(sentence.ToStrings().size() == words.size(), "another number of texts than of words");

    // What is sent again has the same size, and the same bytes but for what stands for true.
    const OutgoingMessage sent(sentence.GetDetails(), words);
    const IncomingMessage again = Carry(sent);
    Sentence copy(sentence.GetDetails());
    Require(again.ToSentence(sentence.GetDetails().GetGrammar(), copy), "the tag is lost");
    Require(copy.ToStrings() == sentence.ToStrings(), "other words after sending them again");
    Require(MessageWith(sent.GetTag(), Bytes(payloadSize)).GetTotalBytes() == sent.Bytes(),
            "another size after sending it again");
    Require(OutgoingMessage(copy.GetDetails(), copy.GetWords()).ToString() == sent.ToString(),
            "encoding is not stable");
}

}  // namespace
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn::test;
    static quarn::SentenceGrammar grammar("fuzz");
    if (!grammar.Find(0, false))
        AddSentences(grammar);
    // Used again and again, as a busy receiver does.
    static quarn::Sentence used(*grammar.Find(0, true));

    Input input(data, size);
    const uint32_t tag = input.Byte();
    const Bytes payload = input.Rest();
    const quarn::IncomingMessage message = MessageWith(tag, payload);

    std::unique_ptr<quarn::Sentence> sentence;
    bool isKnown = false;
    const std::string failure = Failure([&] { sentence.reset(message.CreateSentence(grammar)); });
    Require(Failure([&] { isKnown = message.ToSentence(grammar, used); }) == failure,
            "two ways, two failures");
    if (sentence) {
        Require(isKnown && used.ToStrings() == sentence->ToStrings(), "two ways, two sentences");
        CheckWords(*sentence, payload.size());
    } else if (!failure.empty()) {
        Require(used.GetWords().empty(), "words of a sentence that is none");
    } else {
        Require(!isKnown && !grammar.Find(tag, false), "a known sentence is not made");
    }
    return 0;
}
