#pragma once

#include <quarn/Text.h>

#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

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

/// Replays a file of texts/: a line "> " with the words of a command, then its answer, each line of which ends
/// in "|". What an exception says is an answer that begins with "! ". Words with blanks are in double quotes,
/// %XX is the byte of that number, and a line with "#" is a remark.
inline void Replay(const std::string& name, const Commands& commands) {
    const Lines lines = SplitLines(ReadFile(QUARN_TEXTS + name));
    ASSERT_FALSE(lines.empty()) << name;
    for (size_t i = 0; i < lines.size();) {
        SCOPED_TRACE(Format("%s:%zu: %s", name.c_str(), i + 1, lines[i].c_str()));
        std::istringstream text(lines[i++]);
        Words words;
        for (std::string word; text >> std::quoted(word, '"', '\0');)
            words.push_back(Decoded(word));
        if (words.empty() || words[0] == "#")
            continue;
        ASSERT_TRUE(words[0] == ">" && words.size() > 1);
        words.erase(words.begin());
        std::ostringstream answer;
        answer << std::boolalpha;
        std::string thrown;
        EXPECT_NO_THROW(thrown = ThrownMessage([&] { commands.at(words[0])(words, answer); }));
        if (thrown != "(nothing thrown)")
            answer << "! " << thrown;
        std::string expected;
        for (const size_t first = i; i < lines.size() && lines[i].ends_with('|'); ++i)
            expected += (i == first ? "" : "\n") + Decoded(lines[i].substr(0, lines[i].size() - 1));
        EXPECT_EQ(answer.str(), expected);
    }
}

}  // namespace quarn::test
