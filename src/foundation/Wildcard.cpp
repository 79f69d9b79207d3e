#include <quarn/Wildcard.h>

namespace quarn {

namespace {

char Fold(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool Wildcard::Match(const std::string& text, const std::string& pattern, bool caseSensitive) {
    const auto fold = [caseSensitive](char c) { return caseSensitive ? c : Fold(c); };
    size_t at = 0;
    size_t anchor = std::string::npos;
    for (size_t i = 0; i < text.size();) {
        const char c = fold(text[i]);
        if (at < pattern.size() && fold(pattern[at]) == c) {
            ++at;
            ++i;
        } else if (at < pattern.size() && pattern[at] == '*') {
            anchor = ++at;
        } else if (anchor == std::string::npos) {
            return false;
        } else {
            at = anchor;
            if (at == pattern.size())
                return true;
            // Deliberately the pattern's character as it stands, against the folded one of the text.
            if (pattern[at] == c)
                ++at;
            ++i;
        }
    }
    return pattern.find_first_not_of('*', at) == std::string::npos;
}

}  // namespace quarn
