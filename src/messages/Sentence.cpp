#include <quarn/MonitorException.h>
#include <quarn/Sentence.h>

namespace quarn {

const VariantValue& Sentence::Word(size_t index) const {
    if (index >= words_.size())
        throw MonitorException("Accessing word %zu of a sentence with %zu words", index + 1, words_.size());
    return words_[index];
}

std::string Sentence::ToString() const {
    std::string text;
    for (const VariantValue& word : words_) {
        if (&word != words_.data())
            text += ", ";
        text += word.ToString();
    }
    return text;
}

std::list<std::string> Sentence::ToStrings() const {
    std::list<std::string> texts;
    for (const VariantValue& word : words_)
        texts.push_back(word.ToString());
    return texts;
}

}  // namespace quarn
