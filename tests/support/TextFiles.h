#pragma once

#include "support/TempDirectory.h"

#include <gtest/gtest.h>

#include <list>
#include <map>

namespace quarn::test {

/// The text files of the test program's folder, by their names.
const std::map<std::string, std::string>& TextFiles();

/// A line of a transcript, and what it is to be answered.
struct Exchange {
    std::string where;  // file and line number
    std::string line;
    std::list<std::string> answer;
};

/// Takes a transcript apart: "> " begins a line, and behind it stands its answer, each line of which ends with "|",
/// blanks before that included. Lines that begin with "#", and empty ones, are for the reader.
inline std::vector<Exchange> ReadExchanges(const std::string& name, const std::string& transcript) {
    std::vector<Exchange> exchanges;
    size_t number = 0;
    for (const std::string& line : SplitLines(transcript)) {
        const std::string where = name + ":" + std::to_string(++number);
        if (line.starts_with("> "))
            exchanges.push_back({where, line.substr(2), {}});
        else if (line.ends_with('|') && !exchanges.empty())
            exchanges.back().answer.push_back(line.substr(0, line.size() - 1));
        else if (!line.empty() && line[0] != '#')
            ADD_FAILURE() << where << ": " << line;
    }
    EXPECT_FALSE(exchanges.empty()) << name;
    return exchanges;
}
inline std::vector<Exchange> ReadExchanges(const std::string& name) {
    return ReadExchanges(name, TextFiles().at(name));
}

}  // namespace quarn::test
