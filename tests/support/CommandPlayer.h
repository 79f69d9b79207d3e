#pragma once

#include "support/Transcript.h"

namespace quarn::test {

using Words = std::vector<std::string>;
/// What a command answers to its words, of which the first is its name.
using Commands = std::map<std::string, std::function<void(const Words&, std::ostream&)>>;

inline std::string Decoded(std::string text) {
    for (size_t at = 0; (at = text.find('%', at)) != std::string::npos; ++at)
        if (isxdigit(text[at + 1]))
            text.replace(at, 3, 1, static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16)));
    return text;
}

/// A transcript of commands. In its words %XX is the byte of that number.
class CommandPlayer : public Transcript {
public:
    explicit CommandPlayer(const Commands& commands) {
        for (const auto& [name, command] : commands)
            Add({{name, [this, command] {
                      std::vector<std::string> words = From(0);
                      std::ranges::transform(words, words.begin(), Decoded);
                      std::ostringstream answer;
                      command(words, answer << std::boolalpha);
                      return answer.str();
                  }}});
    }
};

}  // namespace quarn::test
