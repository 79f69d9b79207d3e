#include "devices/DeviceBench.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace quarn::test {

/// The text files of this folder, by their names.
std::map<std::string, std::string> Transcripts();

namespace {

// Behind each "> " a line for the bench, then its response, each line of which ends with "|", blanks before that
// included. Lines that begin with "# " are for the reader.
void Replay(const std::string& name, const Lines& lines) {
    DeviceBench bench;
    size_t commands = 0;
    for (size_t i = 0; i < lines.size(); ++i) {
        SCOPED_TRACE(Format("%s.txt:%zu: %s", name.c_str(), i + 1, lines[i].c_str()));
        if (!lines[i].starts_with("> ")) {
            EXPECT_TRUE(lines[i].empty() || lines[i].starts_with("# "));
            continue;
        }
        std::list<std::string> response = bench.Say(lines[i].substr(2)), expected;
        for (; i + 1 < lines.size() && lines[i + 1].ends_with('|'); ++i)
            expected.push_back(lines[i + 1].substr(0, lines[i + 1].size() - 1));
        EXPECT_EQ(response, expected);
        ++commands;
    }
    EXPECT_GT(commands, 0u) << name;
}

TEST(TranscriptsTest, AreWhatUsersAreTold) {
    // A bus of this process alone, which has its lock on the machine.
    const std::string bus = Format("i2c-%07d", getpid());
    for (auto [name, transcript] : Transcripts()) {
        StringReplace(transcript, "i2c-0000000", bus);
        Replay(name, SplitLines(transcript));
    }
    unlink(("/var/lock/LCK.." + bus).c_str());
}

}  // namespace
}  // namespace quarn::test
