#pragma once

#include <quarn/quarn.h>

#include "support/DebugCapture.h"
#include "support/TextFiles.h"

#include <gtest/gtest.h>

#include <functional>
#include <iomanip>
#include <sstream>

namespace quarn::test {

using Bytes = std::vector<uint8_t>;

/// Lines as one outcome.
template <class Container>
std::string Joined(const Container& lines) {
    std::string joined;
    for (const std::string& line : lines)
        joined += (&line == &*lines.begin() ? "" : "\n") + line;
    return joined;
}

/// Plays test cases that stand in a text file, the transcript. A line has a verb and its words, which may be quoted, and
/// behind " = " what comes of it: a result, or the text of what is thrown. What comes in several lines stands below,
/// each behind four blanks; what is nothing is left out. "#" begins a comment.
class Transcript {
public:
    using Verbs = std::map<std::string, std::function<std::string()>>;

    virtual ~Transcript() = default;

    void Replay(const std::string& name) {
        for (const Step& step : ReadSteps(name)) {
            std::string outcome;
            try {
                outcome = Play(step.line);
            } catch (const MonitorException& e) {
                outcome = e.Description();
            } catch (const std::exception& e) {  // a word is missing, or nothing has that name
                outcome = e.what();
            }
            EXPECT_EQ(outcome, step.outcome) << step.where << ": " << step.line;
        }
    }

protected:
    virtual std::string Play(const std::string& line) {
        std::istringstream stream(line);
        words_.clear();
        for (std::string word; stream >> std::quoted(word);)
            words_.push_back(word);
        const auto found = verbs_.find(W(0));
        return found == verbs_.end() ? "(no such verb)" : found->second();
    }
    void Add(Verbs verbs) {
        verbs_.merge(verbs);
        EXPECT_TRUE(verbs.empty()) << verbs.begin()->first << " is there already";
    }

    size_t Words() const { return words_.size(); }
    const std::string& W(size_t i) const { return words_.at(i); }
    virtual uint64_t N(size_t i) const { return ParseU64(W(i), 0); }
    std::vector<std::string> From(size_t first) const {
        return {words_.begin() + ptrdiff_t(first), words_.end()};
    }
    /// Bytes in hexadecimal, or "4*FF" for four of one.
    Bytes Hex(size_t first) const {
        Bytes bytes;
        for (const std::string& word : From(first)) {
            const size_t star = word.find('*');
            const size_t times = star == std::string::npos ? 1 : ParseU64(word.substr(0, star), 0);
            bytes.insert(bytes.end(), times, uint8_t(ParseU32("0x" + word.substr(star + 1), 0xFF)));
        }
        return bytes;
    }

    /// Few bytes as they are, "300 bytes" where there are many.
    static std::string Shown(const Bytes& bytes) {
        return bytes.size() > 64 ? std::to_string(bytes.size()) + " bytes"
                                 : FormatHexByteVectorUnprefixedSeparated(bytes, " ");
    }
    /// What the call prints.
    template <class Call>
    static std::string Printed(Call&& call) {
        DebugCapture capture;
        call();
        return Joined(capture.Lines());
    }
    /// What the call prints, and behind it the text that it returns.
    template <class Call>
    static std::string Report(Call&& call) {
        std::string returned;
        std::string report = Printed([&] { returned = call(); });
        return report.empty() || returned.empty() ? report + returned : report + "\n" + returned;
    }
    /// A verb that gives nothing.
    template <class Call>
    static std::function<std::string()> Quietly(Call&& call) {
        return [call] {
            call();
            return std::string();
        };
    }

private:
    struct Step {
        std::string where, line, outcome;
    };

    static std::vector<Step> ReadSteps(const std::string& name) {
        std::vector<Step> steps;
        std::istringstream file(TextFiles().at(name));
        size_t number = 0;
        for (std::string line; std::getline(file, line);) {
            const std::string where = name + ":" + std::to_string(++number);
            if (line.empty() || line.starts_with('#'))
                continue;
            const size_t end = std::min(line.find(" = "), line.size());
            if (!line.starts_with(' '))
                steps.push_back({where, line.substr(0, end), line.substr(std::min(end + 3, line.size()))});
            else if (steps.empty() || !line.starts_with("    "))
                ADD_FAILURE() << where << ": neither done nor an outcome";
            else
                steps.back().outcome += (steps.back().outcome.empty() ? "" : "\n") + line.substr(4);
        }
        EXPECT_FALSE(steps.empty()) << name << " is empty";
        return steps;
    }

    std::vector<std::string> words_;
    Verbs verbs_;
};

}  // namespace quarn::test
