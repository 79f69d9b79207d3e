// Splitting of lines and fields: byte 0 is the delimiter, byte 1 the length of the first of two texts.

#include <quarn/Parse.h>

#include "fuzz/Fuzz.h"

namespace quarn::test {
namespace {

std::vector<std::string> CheckWords(const std::string& text) {
    std::vector<std::string> words;
    if (!Failure([&] { words = Tokenize(text); }).empty())
        return {};
    std::string quoted;
    size_t length = 0;
    for (const std::string& word : words) {
        Require(word.find('"') == std::string::npos, "a word with a quote");
        quoted += (quoted.empty() ? "\"" : " \"") + word + "\"";
        length += word.size();
    }
    Require(length <= text.size() && words.size() <= (text.size() + 1) / 2, "more words than text");
    Require(Tokenize(quoted) == words, "other words once they are quoted");
    return words;
}

void CheckFields(const std::string& text, char delimiter) {
    const std::vector<std::string> fields = TokenizeDelimited(text, delimiter);
    std::string joined;
    for (const std::string& field : fields)
        joined += (&field == &fields[0] ? "" : std::string(1, delimiter)) + field;
    const size_t delimiters = size_t(std::count(text.begin(), text.end(), delimiter));
    Require(joined == text && fields.size() == (text.empty() ? 0 : delimiters + 1),
            "the fields are not the text");
}

}  // namespace
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn::test;
    Input input(data, size);
    const char delimiter = char(input.Byte());
    const Bytes first = input.Take(input.Byte());
    const std::string texts[] = {{first.begin(), first.end()}, input.Text()};
    for (const std::string& text : texts)
        CheckFields(text, delimiter);
    std::vector<std::string> before = CheckWords(texts[0]), after = CheckWords(texts[1]);
    const bool isChanged = !quarn::DescribeUnorderedTokenChanges(before, after).empty();
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    Require(isChanged == (before != after), "changes where there are none, or the reverse");
    return 0;
}
