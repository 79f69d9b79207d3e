#pragma once

#include <quarn/MonitorException.h>

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace quarn::test {

/// A step of a text of test cases: what is done, and behind " = " what comes of it, a result or what is thrown. What
/// comes in several lines stands below, each line behind four blanks; what is nothing is left out. "#" begins a comment.
struct TranscriptStep {
    std::string where, does, outcome;
};

inline std::vector<TranscriptStep> ReadTranscript(const std::string& path) {
    std::vector<TranscriptStep> steps;
    std::ifstream file(path);
    size_t number = 0;
    for (std::string line; std::getline(file, line);) {
        const std::string where = path + ":" + std::to_string(++number);
        const size_t equals = line.find(" = ");
        if (line.empty() || line.starts_with('#'))
            continue;
        if (!line.starts_with("    "))
            steps.push_back(
                {where, line.substr(0, equals), equals == std::string::npos ? "" : line.substr(equals + 3)});
        else if (steps.empty())
            ADD_FAILURE() << where << ": comes of nothing";
        else
            steps.back().outcome += (steps.back().outcome.empty() ? "" : "\n") + line.substr(4);
    }
    EXPECT_FALSE(steps.empty()) << path << " is not there, or empty";
    return steps;
}

/// Does what the file says, step by step; what is done returns what came of it.
inline void ReplayTranscript(const std::string& path,
                             const std::function<std::string(const std::string&)>& play) {
    for (const TranscriptStep& step : ReadTranscript(path)) {
        std::string outcome;
        try {
            outcome = play(step.does);
        } catch (const MonitorException& e) {
            outcome = e.Description();
        }
        EXPECT_EQ(outcome, step.outcome) << step.where << ": " << step.does;
    }
}

}  // namespace quarn::test
