// A configuration file, read by the accessors of a simulated board.

#include <quarn/Parse.h>

#include "fuzz/BoardAccessors.h"
#include "fuzz/Fuzz.h"
#include "support/DebugCapture.h"

#include <stdlib.h>

namespace quarn::test {
namespace {

using Words = std::vector<std::string>;

/// Notes the lines of its section, and of none else.
class NotingAccessor final : public Accessor {
public:
    std::set<std::string> GetConfigurationSections() const override { return {"note"}; }
    void Configure(const std::string& section, const Words& words) override {
        Require(section == "note", "a line of another section");
        notes.push_back(words);
    }

    std::vector<Words> notes;
};

/// The lines of that section, read without anything clever.
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

void CheckPrinted(const Lines& printed, const std::string& path, size_t lines) {
    size_t number = 0;
    for (const std::string& line : printed) {
        const std::string start = path + ":";
        Require(line.starts_with(start), "a message without the file");
        const size_t reported = strtoul(line.c_str() + start.size(), nullptr, 10);
        Require(reported > number && reported <= lines, "two messages for a line, or one for none");
        number = reported;
    }
}

}  // namespace
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn::test;
    // Whatever came before, reading goes on.
    const std::string text = Input(data, size).Text() + "\n[note]\nthe \"last line\"";
    DebugCapture capture(quarn::DEBUG_ERR);
    NotingAccessor note;
    BoardAccessors unit;
    unit.accessors.Add(note);
    const std::string path = unit.Configure(text);
    Require(note.notes == LinesOfNotes(text), "other lines than are in the file");
    CheckPrinted(capture.Lines(), path, SplitLines(text).size());
    for (const char* command : {"i2c list", "spi list", "gpio list", "reg list"})
        Require(unit.accessors.Execute(command).back() == "\x04", "a response without end");
    return 0;
}
