// Splitting of lines and fields: byte 0 is the delimiter, byte 1 the length of the first of two texts.

#include <quarn/Parse.h>

#include "fuzz/Fuzz.h"

namespace quarn::test {
namespace {

using Words = std::vector<std::string>;

void CheckFields(const std::string& text, char delimiter) {
    const Words fields = TokenizeDelimited(text, delimiter);
    std::string joined;
    for (const std::string& field : fields)
        joined += field + delimiter;
    Require(text.empty() ? fields.empty() : joined == text + delimiter, "the fields are not the text");
}

Words CheckedWords(const std::string& text) {
    Words words;
    if (!Failure([&] { words = Tokenize(text); }).empty())
        return {};
    std::string quoted;
    for (const std::string& word : words) {
        Require(word.find('"') == std::string::npos, "a word with a quote");
        quoted += "\"" + word + "\" ";
    }
    Require(Tokenize(quoted) == words, "other words once they are quoted");
    return words;
}

}  // namespace

void CheckInput(Input& input) {
    const char delimiter = char(input.Byte());
    const Bytes first = input.Take(input.Byte());
    const std::string text(first.begin(), first.end());
    CheckFields(text, delimiter);
    Words before = CheckedWords(text), after = CheckedWords(input.Text());
    const bool isChanged = !DescribeUnorderedTokenChanges(before, after).empty();
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    Require(isChanged == (before != after), "changes where there are none, or the reverse");
}

}  // namespace quarn::test
