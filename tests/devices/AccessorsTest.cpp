#include <quarn/Accessor.h>
#include <quarn/Accessors.h>
#include <quarn/MonitorException.h>

#include "support/DebugCapture.h"
#include "support/HeapInUse.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <random>
#include <stdexcept>

namespace quarn {
namespace {

using test::DebugCapture;
using test::HeapInUse;
using test::TempDirectory;
using test::ThrownMessage;

using Lines = std::list<std::string>;

// Claims what it is told to, notes what it is given, and fails on request.
class ScriptedAccessor final : public Accessor {
public:
    ScriptedAccessor(std::set<std::string> commandNames, std::set<std::string> help,
                     std::set<std::string> sectionNames)
        : commands_(std::move(commandNames)), help_(std::move(help)), sections_(std::move(sectionNames)) {}

    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override {
        return withDescriptions ? help_ : commands_;
    }
    std::set<std::string> GetConfigurationSections() const override { return sections_; }
    void Configure(const std::string& section, const std::vector<std::string>& words) override {
        Note(section, words);
        FailOn(words[0]);
    }
    Lines Execute(const std::string& command, const std::vector<std::string>& words) override {
        Note(command, words);
        FailOn(words.empty() ? "" : words[0]);
        return {"done", "%s"};
    }

    std::vector<std::string> notes;

private:
    void Note(const std::string& what, const std::vector<std::string>& words) {
        notes.push_back(what);
        for (const std::string& word : words)
            notes.back() += "|" + word;
    }
    static void FailOn(const std::string& word) {
        if (word == "bad")
            throw MonitorException("I2C: bad %%s");
        if (word == "worse")
            throw std::out_of_range("far out");
        if (word == "worst")
            throw 5;
    }

    const std::set<std::string> commands_, help_, sections_;
};

// From its first line on nothing can be read of the file that has this descriptor.
class Saboteur final : public Accessor {
public:
    explicit Saboteur(int file) : file_(file) {}
    std::set<std::string> GetConfigurationSections() const override { return {"s"}; }
    void Configure(const std::string&, const std::vector<std::string>& words) override {
        taken.push_back(words[0]);
        const int unreadable = open("/dev/null", O_WRONLY);
        dup2(unreadable, file_);
        close(unreadable);
    }

    std::vector<std::string> taken;

private:
    const int file_;
};

TEST(AccessorsTest, KeepsWhatWasEnteredBeforeAClash) {
    ScriptedAccessor first({"c", "m"}, {}, {"s"});
    ScriptedAccessor second({"a", "m", "z"}, {}, {"t"});
    ScriptedAccessor third({"y"}, {}, {"r", "s", "u"});
    Accessors accessors;
    accessors.Add(first);
    EXPECT_EQ(ThrownMessage([&] { accessors.Add(second); }),
              "Multiple accessors claim console command \"m\"");
    EXPECT_EQ(ThrownMessage([&] { accessors.Add(third); }),
              "Multiple accessors claim configuration section \"s\"");
    EXPECT_EQ(accessors.Execute("a 1"), (Lines{"done", "%s", "\x04"}));
    EXPECT_EQ(accessors.Execute("m"), (Lines{"done", "%s", "\x04"}));
    EXPECT_EQ(accessors.Execute("z"), (Lines{"unrecognized command (\"help\" for help)", "\x04"}));
    EXPECT_EQ(accessors.Execute("y"), (Lines{"done", "%s", "\x04"}));
    EXPECT_EQ(second.notes, std::vector<std::string>{"a|1"});
    EXPECT_EQ(first.notes, std::vector<std::string>{"m"});
}

TEST(AccessorsTest, ConfiguresLineByLine) {
    const TempDirectory directory;
    directory.Write("c",
                    "early line\n"                        // 1
                    "  # [i2c]\n\n"                       // 2, 3
                    "[i2c]junk more # words\n"            // 4
                    "one \"two three\" # no comment\r\n"  // 5
                    "[i2c\n"                              // 6
                    "bad 1\n"                             // 7
                    "# don\"t\n"                          // 8
                    "[none]x y\nskipped\nworst\n"         // 9, 10, 11
                    "[]\nlost\n"                          // 12, 13
                    "[spi]\n" +                           // 14
                        std::string(1048577, 'x') +       // 15
                        "\n" +
                        std::string(1048576, 'y') +
                        "\n"           // 16
                        "\"\" last");  // 17
    ScriptedAccessor i2c({}, {}, {"i2c"});
    ScriptedAccessor spi({}, {}, {"spi"});
    Accessors accessors;
    accessors.Add(i2c);
    accessors.Add(spi);
    const std::string path = directory.File("c");
    DebugCapture errors(DEBUG_ERR);
    accessors.Configure(path);
    EXPECT_EQ(i2c.notes, (std::vector<std::string>{"i2c|one|two three|#|no|comment", "i2c|bad|1"}));
    EXPECT_EQ(spi.notes, (std::vector<std::string>{"spi|" + std::string(1048576, 'y'), "spi||last"}));
    EXPECT_EQ(errors.Lines(),
              (std::vector<std::string>{
                  path + ":1: Configuration line outside section", path + ":6: Malformed section selector",
                  path + ":7: I2C: bad %s", path + ":8: Double-quote within token",
                  path + ":13: Configuration line outside section", path + ":15: Line is too long"}));
    DebugCapture warnings(DEBUG_WARN);
    accessors.Configure(path);
    EXPECT_EQ(warnings.Lines(),
              (std::vector<std::string>{path + ":9: Configuration section \"[none]x\" not used",
                                        path + ":12: Configuration section \"[]\" not used"}));
}

TEST(AccessorsTest, StopsConfiguringOnlyWhenItCannotGoOn) {
    const TempDirectory directory;
    directory.Write("c", "[i2c]\na\nworse\nb\n");
    ScriptedAccessor i2c({}, {}, {"i2c"});
    Accessors accessors;
    accessors.Add(i2c);
    EXPECT_THROW(accessors.Configure(directory.File("c")), std::out_of_range);
    EXPECT_EQ(i2c.notes, (std::vector<std::string>{"i2c|a", "i2c|worse"}));
    EXPECT_EQ(ThrownMessage([&] { accessors.Configure(directory.File("d")); }),
              "Could not open " + directory.File("d") + " for reading");
    DebugCapture debug;
    accessors.Configure(directory.Path());
    EXPECT_EQ(debug.Lines(),
              std::vector<std::string>{directory.Path() + ":1: Could not read on: Is a directory"});
}

TEST(AccessorsTest, TakesNoPieceForALineWhereReadingFails) {
    const TempDirectory directory;
    directory.Write("c", "[s]\nfirst\n" + std::string(100000, 'x'));
    DebugCapture debug;
    const int next = open("/dev/null", O_RDONLY);
    close(next);
    Saboteur saboteur(next);
    Accessors accessors;
    accessors.Add(saboteur);
    accessors.Configure(directory.File("c"));
    EXPECT_EQ(saboteur.taken, std::vector<std::string>{"first"});
    EXPECT_EQ(debug.Lines(),
              std::vector<std::string>{directory.File("c") + ":3: Could not read on: Bad file descriptor"});
}

TEST(AccessorsTest, ExecutesLines) {
    ScriptedAccessor i2c({"help", "i2c"}, {}, {});
    Accessor mute;
    Accessors accessors;
    accessors.Add(i2c);
    accessors.Add(mute);
    struct Case {
        const char* line;
        Lines response;
    };
    const std::vector<Case> cases = {
        {"", {"\x04"}},
        {"  #i2c", {"\x04"}},
        {" i2c \"a b\" # c", {"done", "%s", "\x04"}},
        {"i2c bad", {"I2C: bad %s", "\x04"}},
        {"i2c worse", {"std::exception:", "far out", "\x04"}},
        {"I2C", {"unrecognized command (\"help\" for help)", "\x04"}},
        {"i2c \"x", {"Missing closing double-quote", "\x04"}},
        {"help", {"\x04"}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(accessors.Execute(c.line), c.response) << c.line;
    EXPECT_EQ(i2c.notes, (std::vector<std::string>{"i2c|a b|#|c", "i2c|bad", "i2c|worse"}));
    EXPECT_THROW(accessors.Execute("i2c worst"), int);
    EXPECT_EQ(ThrownMessage([&] { mute.Execute("x", {}); }), "Accessor does not support command execution");
    EXPECT_EQ(ThrownMessage([&] { mute.Configure("x", {}); }), "Accessor does not support configuration");
}

TEST(AccessorsTest, HelpSortsEntriesBeforeItTrimsThem) {
    ScriptedAccessor first({"b", "c"}, {"b :  two: parts ", "  z:last", "alone "}, {});
    ScriptedAccessor second({"a"}, {"alone ", "a:"}, {});
    Accessors accessors;
    accessors.Add(first);
    accessors.Add(second);
    const Lines expected = {"z      last        ", "a                  ", "alone              ",
                            "b      two: parts  ", "\x04"};
    EXPECT_EQ(accessors.Execute("help"), expected);
    EXPECT_EQ(accessors.Execute("? b"), expected);
}

TEST(AccessorsTest, SurvivesRandomBytes) {
    std::minstd_rand random(4);
    std::string bytes(10000000, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random() >> 8);
    const TempDirectory directory;
    directory.Write("c", "[i2c]\n" + bytes + "\n[i2c]\nend");
    ScriptedAccessor i2c({"i2c"}, {}, {"i2c"});
    Accessors accessors;
    accessors.Add(i2c);
    const size_t before = HeapInUse();
    accessors.Configure(directory.File("c"));
    ASSERT_FALSE(i2c.notes.empty());
    EXPECT_EQ(i2c.notes.back(), "i2c|end");
    for (size_t start = 0; start < bytes.size(); start += 65536)
        ASSERT_EQ(accessors.Execute(bytes.substr(start, 65536)).back(), "\x04");
    i2c.notes = {};
    EXPECT_LT(HeapInUse(), before + 1000000);
}

}  // namespace
}  // namespace quarn
