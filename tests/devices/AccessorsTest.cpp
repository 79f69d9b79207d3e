#include "connections/Loopback.h"
#include "devices/DeviceTest.h"
#include "support/Resources.h"
#include "support/TempDirectory.h"

#include <fcntl.h>
#include <unistd.h>

namespace quarn::test {
namespace {

using Names = std::set<std::string>;

// Claims what it is told to, notes what it is given, and fails on request.
class ScriptedAccessor final : public Accessor {
public:
    ScriptedAccessor(Names commands, Names sections, Names help = {})
        : commands_(std::move(commands)), sections_(std::move(sections)), help_(std::move(help)) {}

    Names GetConsoleCommands(bool withDescriptions) const override {
        return withDescriptions ? help_ : commands_;
    }
    Names GetConfigurationSections() const override { return sections_; }
    void Configure(const std::string& section, const std::vector<std::string>& words) override {
        Take(section, words);
    }
    Response Execute(const std::string& command, const std::vector<std::string>& words) override {
        Take(command, words);
        return {"done", "%s"};
    }

    Lines notes;
    std::function<void()> act = [] {};

private:
    void Take(std::string note, const std::vector<std::string>& words) {
        for (const std::string& word : words)
            note += "|" + word;
        notes.push_back(note);
        act();
        if (note.ends_with("|bad"))
            throw MonitorException("I2C: bad %%s");
        if (note.ends_with("|worse"))
            throw std::out_of_range("far out");
        if (note.ends_with("|worst"))
            throw 5;
    }

    const Names commands_, sections_, help_;
};

TEST(AccessorsTest, KeepsWhatWasEnteredBeforeAClash) {
    ScriptedAccessor first({"c", "m"}, {"s"}), second({"a", "m", "z"}, {"t"}), third({"y"}, {"r", "s"});
    Accessors accessors;
    accessors.Add(first);
    EXPECT_EQ(ThrownMessage([&] { accessors.Add(second); }),
              "Multiple accessors claim console command \"m\"");
    EXPECT_EQ(ThrownMessage([&] { accessors.Add(third); }),
              "Multiple accessors claim configuration section \"s\"");
    for (const char* line : {"a 1", "m", "y"})
        EXPECT_EQ(accessors.Execute(line), (Response{"done", "%s", "\x04"}));
    EXPECT_EQ(accessors.Execute("z"), (Response{"unrecognized command (\"help\" for help)", "\x04"}));
    EXPECT_EQ(first.notes, Lines{"m"});
}

TEST(AccessorsTest, ConfiguresLineByLine) {
    const std::string longest(1048576, 'y');
    const TempDirectory directory;
    directory.Write("c",
                    "early line\n"                        // 1
                    "  # [i2c]\n\n"                       // 2, 3
                    "[i2c]junk more # words\n"            // 4
                    "one \"two three\" # no comment\r\n"  // 5
                    "[i2c\n"                              // 6
                    "1 bad\n"                             // 7
                    "# don\"t\n"                          // 8
                    "[none]x y\nworse\n"                  // 9, 10
                    "[]\nlost\n"                          // 11, 12
                    "[spi]\nx" +                          // 13
                        longest +
                        "\n" + longest +  // 14, 15
                        "\n\"\" last");   // 16
    ScriptedAccessor i2c({}, {"i2c"}), spi({}, {"spi"});
    Accessors accessors;
    accessors.Add(i2c);
    accessors.Add(spi);
    DebugCapture debug(DEBUG_ERR | DEBUG_WARN);
    accessors.Configure(directory.File("c"));
    EXPECT_EQ(i2c.notes, (Lines{"i2c|one|two three|#|no|comment", "i2c|1|bad"}));
    EXPECT_EQ(spi.notes, (Lines{"spi|" + longest, "spi||last"}));
    Lines expected = {":1: Configuration line outside section",
                      ":6: Malformed section selector",
                      ":7: I2C: bad %s",
                      ":8: Double-quote within token",
                      ":9: Configuration section \"[none]x\" not used",
                      ":11: Configuration section \"[]\" not used",
                      ":12: Configuration line outside section",
                      ":14: Line is too long"};
    for (std::string& line : expected)
        line.insert(0, directory.File("c"));
    EXPECT_EQ(debug.Lines(), expected);
}

TEST(AccessorsTest, StopsConfiguringOnlyWhereItCannotGoOn) {
    const TempDirectory directory;
    directory.Write("c", "[s]\na\nworse\nb\n");
    directory.Write("cut", "[s]\nfirst\n" + std::string(100000, 'x'));
    ScriptedAccessor accessor({}, {"s"});
    Accessors accessors;
    accessors.Add(accessor);
    EXPECT_THROW(accessors.Configure(directory.File("c")), std::out_of_range);
    EXPECT_EQ(ThrownMessage([&] { accessors.Configure(directory.File("d")); }),
              "Could not open " + directory.File("d") + " for reading");
    DebugCapture debug;
    const int next = open("/dev/null", O_RDONLY);
    close(next);
    accessor.act = [next] { close(next); };  // the file that is being read
    accessors.Configure(directory.File("cut"));
    EXPECT_EQ(debug.Lines(), Lines{directory.File("cut") + ":3: Could not read on: Bad file descriptor"});
    EXPECT_EQ(accessor.notes, (Lines{"s|a", "s|worse", "s|first"}));  // a piece of a line is none
}

TEST(AccessorsTest, SurvivesARandomConfigurationFile) {
    const TempDirectory directory;
    directory.Write("c", "[s]\n" + RandomBytes(10 << 20) + "\n[s]\nend");
    ScriptedAccessor accessor({}, {"s"});
    Accessors accessors;
    accessors.Add(accessor);
    const size_t before = HeapInUse();
    accessors.Configure(directory.File("c"));
    EXPECT_EQ(std::exchange(accessor.notes, {}).back(), "s|end");
    EXPECT_LT(HeapInUse(), before + 1000000);
}

TEST(AccessorsTest, ExecutesLines) {
    ScriptedAccessor i2c({"help", "i2c"}, {}, {"b :  two: parts ", "  z:last", "alone "});
    ScriptedAccessor other({"a"}, {}, {"alone ", "a:"});
    Accessor mute;
    Accessors accessors;
    accessors.Add(i2c);
    accessors.Add(other);
    accessors.Add(mute);
    // The entries are sorted before they are trimmed.
    const Response help = {"z      last        ", "a                  ", "alone              ",
                           "b      two: parts  ", "\x04"};
    const std::pair<const char*, Response> cases[] = {
        {"", {"\x04"}},
        {"  #i2c", {"\x04"}},
        {" i2c \"a b\" # c", {"done", "%s", "\x04"}},
        {"i2c bad", {"I2C: bad %s", "\x04"}},
        {"i2c worse", {"std::exception:", "far out", "\x04"}},
        {"I2C", {"unrecognized command (\"help\" for help)", "\x04"}},
        {"i2c \"x", {"Missing closing double-quote", "\x04"}},
        {"help", help},
        {"? b", help},
    };
    for (const auto& [line, response] : cases)
        EXPECT_EQ(accessors.Execute(line), response) << line;
    EXPECT_EQ(i2c.notes, (Lines{"i2c|a b|#|c", "i2c|bad", "i2c|worse"}));
    EXPECT_THROW(accessors.Execute("i2c worst"), int);
    EXPECT_EQ(ThrownMessage([&] { mute.Execute("x", {}); }), "Accessor does not support command execution");
    EXPECT_EQ(ThrownMessage([&] { mute.Configure("x", {}); }), "Accessor does not support configuration");
}

}  // namespace
}  // namespace quarn::test
