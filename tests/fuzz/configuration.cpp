// A configuration file, read by the accessors of a simulated board.

#include "fuzz/BoardAccessors.h"

namespace quarn::test {
namespace {

/// Notes the last line of its section, and of none else.
struct NotingAccessor final : Accessor {
    std::set<std::string> GetConfigurationSections() const override { return {"note"}; }
    void Configure(const std::string& section, const std::vector<std::string>& words) override {
        Require(section == "note", "a line of another section");
        last = words;
    }

    std::vector<std::string> last;
};

}  // namespace

void CheckInput(Input& input) {
    NotingAccessor note;
    BoardAccessors unit;
    unit.accessors.Add(note);
    unit.Configure(input.Text() + "\n[note]\nthe \"last line\"");
    Require(note.last == std::vector<std::string>{"the", "last line"}, "what came before ends the reading");
    for (const char* command : {"spi list", "gpio list", "reg list"})
        Require(unit.accessors.Execute(command).back() == "\x04", "a response without end");
}

}  // namespace quarn::test
