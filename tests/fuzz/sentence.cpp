// The payload of a message as a sentence: byte 0 chooses the sentence.

#include <quarn/quarn.h>

#include "fuzz/Fuzz.h"

#include <memory>

namespace quarn::test {
namespace {

constexpr uint32_t kOneWordTags = 16;  // and the code of the word's type

struct Grammar : SentenceGrammar {
    Grammar() : SentenceGrammar("fuzz") {
        using enum VariantType;
        for (int32_t code = 1; Variant::IsTypeValid(code); ++code)
            Add(kOneWordTags + uint32_t(code), "word " + std::to_string(code), 0, code, NONE);
        Add(0, "nothing", 0, NONE);
        Add(1, "perhaps nothing", 1, NONE);
        Add(2, "mixed", 0, UINT16, STRING, STRING_LIST, BOOLEAN, UINT8_VECTOR, NONE);
        Add(3, "perhaps mixed", 1, UINT16, STRING, STRING_LIST, BOOLEAN, UINT8_VECTOR, NONE);
    }
};

IncomingMessage Carry(const OutgoingMessage& sent) {
    IncomingMessage message;
    Require(message.Populate(sent.Sync(), sent.Bytes()) == sent.Bytes(), "what was encoded is no message");
    return message;
}

/// What is sent again has the same size, and the same bytes but for what stands for true.
void CheckEncoding(const Sentence& sentence, size_t totalBytes) {
    const OutgoingMessage sent(sentence.GetDetails(), sentence.GetWords());
    Sentence copy(sentence.GetDetails());
    Require(sent.Bytes() == totalBytes && Carry(sent).ToSentence(sentence.GetDetails().GetGrammar(), copy) &&
                OutgoingMessage(copy.GetDetails(), copy.GetWords()).ToString() == sent.ToString(),
            "other words after sending them again");
}

}  // namespace

void CheckInput(Input& input) {
    static const Grammar grammar;
    // Used again and again, as a busy receiver does.
    static Sentence used(*grammar.Find(0, true));

    VariableDictionary dictionary("fuzz");
    const uint32_t tag = input.Byte();
    dictionary.Add(tag, "payload", VariantType::UINT8_VECTOR);
    const IncomingMessage message = Carry(OutgoingMessage(dictionary.Find(tag), VariantValue(input.Rest())));
    std::unique_ptr<Sentence> sentence;
    bool isKnown = false;
    const std::string failure = Failure([&] { sentence.reset(message.CreateSentence(grammar)); });
    Require(Failure([&] { isKnown = message.ToSentence(grammar, used); }) == failure,
            "two ways, two failures");
    Require(isKnown == (failure.empty() && grammar.Find(tag, false)), "a known sentence is not made");
    if (isKnown) {
        Require(sentence && used.ToStrings() == sentence->ToStrings(), "two ways, two sentences");
        CheckEncoding(*sentence, message.GetTotalBytes());
    } else {
        Require(!sentence && (failure.empty() || used.GetWords().empty()),
                "words of a sentence that is none");
    }
}

}  // namespace quarn::test
