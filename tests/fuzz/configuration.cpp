// A configuration file, read by the accessors of a simulated board.

#include <quarn/I2CAccess.h>
#include <quarn/Parse.h>

#include "fuzz/BoardAccessors.h"
#include "support/TempDirectory.h"

namespace quarn::test {
namespace {

using Words = std::vector<std::string>;

/// Notes the lines of its section, and gives those of I2C on for the buses that there are: a bus leaves the file of its
/// lock behind, whether it opens or not.
struct NotingAccessor final : Accessor {
    explicit NotingAccessor(DeviceIO& io) : i2c(io) {}

    std::set<std::string> GetConfigurationSections() const override { return {"note", "i2c"}; }
    void Configure(const std::string& section, const Words& words) override {
        if (section == "note")
            notes.push_back(words);
        else if (words.size() != 3 || words[0] == "i2c-0" || words[0] == "i2c-1")
            i2c.Configure(section, words);
    }

    I2CAccess i2c;
    std::vector<Words> notes;
};

/// The lines of the section "note", read without anything clever.
std::vector<Words> LinesOfNotes(const std::string& text) {
    std::vector<Words> lines;
    std::string section;
    for (const std::string& line : SplitLines(text)) {
        Words words;
        Failure([&] { words = Tokenize(line); });
        if (words.empty() || words[0].starts_with('#'))
            continue;
        if (!words[0].starts_with('['))
            section == "note" ? lines.push_back(words) : void();
        else if (const size_t end = words[0].find(']'); end != std::string::npos)
            section = words[0].substr(1, end - 1);
    }
    return lines;
}

}  // namespace

void CheckInput(Input& input) {
    const std::string text = input.Text() + "\n[note]\nthe \"last line\"";
    BoardAccessors unit;
    NotingAccessor note(unit.board);
    unit.accessors.Add(note);
    unit.Configure(text);
    Require(note.notes == LinesOfNotes(text), "other lines than are in the file");
    for (const char* command : {"spi list", "gpio list", "reg list"})
        Require(unit.accessors.Execute(command).back() == "\x04", "a response without end");
}

}  // namespace quarn::test
