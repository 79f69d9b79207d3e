#pragma once

#include "support/TextFiles.h"
#include "support/ThrownMessage.h"

#include <functional>
#include <iomanip>
#include <map>

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

/// Replays a transcript of commands. What an exception says is an answer that begins with "! ". Words with blanks are in
/// double quotes, %XX is the byte of that number.
inline void Replay(const std::string& name, const Commands& commands) {
    for (const Exchange& exchange : ReadExchanges(name)) {
        SCOPED_TRACE(exchange.where + ": " + exchange.line);
        std::istringstream text(exchange.line);
        Words words;
        for (std::string word; text >> std::quoted(word, '"', '\0');)
            words.push_back(Decoded(word));
        std::ostringstream answer;
        answer << std::boolalpha;
        std::string thrown;
        EXPECT_NO_THROW(thrown = ThrownMessage([&] { commands.at(words.at(0))(words, answer); }));
        if (thrown != "(nothing thrown)")
            answer << "! " << thrown;
        std::string expected;
        for (const std::string& line : exchange.answer)
            expected += (&line == &exchange.answer.front() ? "" : "\n") + Decoded(line);
        EXPECT_EQ(answer.str(), expected);
    }
}

}  // namespace quarn::test
