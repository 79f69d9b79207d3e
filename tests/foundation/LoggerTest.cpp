#include <quarn/Debug.h>
#include <quarn/FileUtilities.h>
#include <quarn/Logger.h>

#include "support/DebugCapture.h"
#include "support/FileSizeLimit.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace quarn::test {
namespace {

struct LoggerTest : testing::Test {
    void Rename(const std::string& from, const std::string& to) const {
        ASSERT_EQ(rename(directory.File(from).c_str(), directory.File(to).c_str()), 0);
    }

    const TempDirectory directory;
};

TEST_F(LoggerTest, RefusesOptionsThatDoNotFit) {
    const std::tuple<uint32_t, uint32_t, uint32_t, const char*> cases[] = {
        {0, 1, 1, "Logger must use between 1 and 6 index digits"},
        {7, 1, 1, "Logger must use between 1 and 6 index digits"},
        {1, 10, 10, "Requested limit of 10 log files is too many for 1 index digits (max is 9)"},
        {2, 99, 100, "Requested limit of 100 snapshots is too many for 2 index digits (max is 99)"},
    };
    for (const auto& [digits, files, snapshots, message] : cases) {
        const LoggerOptions options{directory.Path(), ".txt", "", digits, 1, files, snapshots};
        EXPECT_EQ(ThrownMessage([&] { Logger logger(options); }), message);
    }
}

TEST_F(LoggerTest, BeginsAFileBehindThoseThereAre) {
    const std::tuple<uint32_t, uint32_t, Lines, Lines> cases[] = {
        {2, 10, {"98.txt"}, {"98.txt", "99-start.txt"}},
        {2, 10, {"97.txt", "98-start.txt", "99.txt"}, {"01.txt", "02-start.txt", "03.txt", "04-start.txt"}},
        {2, 3, {"01.txt", "03.txt", "04.txt", "05.txt"}, {"04.txt", "05.txt", "06-start.txt"}},
        {1, 0, {"8.txt", "9-start.txt"}, {"1.txt", "2-start.txt", "3-start.txt"}},
        // Numbers that were used twice.
        {1, 9, {"1-start.txt", "1.txt", "2.txt"}, {"1-start.txt", "2.txt", "3.txt", "4-start.txt"}},
        // Almost log files.
        {2, 1, {"00.txt", "001.txt", "a1.txt"}, {"00.txt", "001.txt", "01-start.txt", "a1.txt"}},
    };
    for (const auto& [digits, files, before, after] : cases) {
        const TempDirectory fresh;
        for (const std::string& name : before)
            fresh.Write(name, "");
        Logger({.directory = fresh.Path(), .indexDigits = digits, .maxLogFiles = files, .maxSnapshots = 0});
        EXPECT_EQ(fresh.Names(), after);
    }
}

TEST_F(LoggerTest, LeavesWhatIsNoFileAlone) {
    directory.Write("target", "target");
    ASSERT_EQ(symlink("target", directory.File("02.txt").c_str()), 0);
    FileUtilities::CreateDirectory(directory.File("07.txt"));
    Logger logger({.directory = directory.Path(), .linesPerFile = 1});
    logger.Write("1");
    EXPECT_TRUE(logger.IsGood());
    // The name of the next file is taken by the link, which is neither followed nor replaced.
    logger.Write("2");
    EXPECT_FALSE(logger.IsGood());
    // Nor does renumbering replace anything.
    Rename("02.txt", "01.txt");
    Rename("01-start.txt", "03.txt");
    directory.Write("05.txt", "");
    EXPECT_FALSE(Logger({.directory = directory.Path()}).IsGood());
    EXPECT_EQ(directory.Names(), (Lines{"01.txt", "03.txt", "05.txt", "07.txt", "target"}));
    EXPECT_EQ(directory.Read("01.txt"), "target");
}

TEST_F(LoggerTest, RotatesByLines) {
    Logger logger({.directory = directory.Path(), .suffix = ".log", .linesPerFile = 2, .maxLogFiles = 3});
    const std::string longLine(5000, 'x');
    for (const std::string& line : {std::string("a"), std::string("b\n"), std::string(), std::string("\n"),
                                    longLine, longLine + "\n", std::string("two\nlines"), std::string("h")})
        logger.Write(line.c_str());
    // No file is begun before there is a line for it.
    EXPECT_EQ(directory.Names(), (Lines{"02.log", "03.log", "04.log"}));
    EXPECT_EQ(directory.Read("02.log"), "\n\n");
    EXPECT_EQ(directory.Read("03.log"), longLine + "\n" + longLine + "\n");
    EXPECT_EQ(directory.Read("04.log"), "two\nlines\nh\n");
    const TempDirectory endless;
    Logger one({.directory = endless.Path(), .linesPerFile = 0});
    one.Write("a");
    one.Write(nullptr);
    one.Write("b");
    EXPECT_EQ(endless.Read("01-start.txt"), "a\nb\n");
}

TEST_F(LoggerTest, StopsForGoodWhenNoFileCanBeBegun) {
    const LoggerOptions options{.directory = directory.File("logs/"), .linesPerFile = 1};
    EXPECT_FALSE(Logger(options).IsGood());
    FileUtilities::CreateDirectory(directory.File("logs"));
    Logger stopped(options);
    stopped.Write("written");
    Rename("logs", "gone");
    EXPECT_TRUE(stopped.IsGood());
    stopped.Write("lost");
    EXPECT_FALSE(stopped.IsGood());
    stopped.Snapshot();
    EXPECT_EQ(directory.Names(), Lines{"gone"});
    Rename("gone", "logs");
    stopped.Write("lost too");
    EXPECT_EQ(directory.Read("logs/01-start.txt"), "written\n");
}

TEST_F(LoggerTest, GoesOnAfterAFullDisk) {
    Logger logger({.directory = directory.Path(), .linesPerFile = 4});
    logger.Write("first");
    {
        const FileSizeLimit limit(10);
        logger.Write("cut off");
        logger.Write("lost");
    }
    logger.Write("fourth");
    logger.Write("fifth");
    EXPECT_TRUE(logger.IsGood());
    EXPECT_EQ(directory.Read("01-start.txt"), "first\ncut \nfourth\n");
    EXPECT_EQ(directory.Read("02.txt"), "fifth\n");
}

TEST_F(LoggerTest, TakesSnapshots) {
    for (const std::string name : {"snapshot-02", "snapshot-04", "snapshot-4"}) {
        FileUtilities::CreateDirectory(directory.File(name));
        directory.Write(name + "/" + name, name);
    }
    Logger logger({.directory = directory.Path(), .maxSnapshots = 3});
    logger.Write("one");
    logger.Snapshot();  // closes the gap
    EXPECT_EQ(directory.Read("snapshot-02/snapshot-04"), "snapshot-04");
    EXPECT_EQ(directory.Read("snapshot-03/01-start.txt"), "one\n");
    logger.Write("two");
    logger.Snapshot();  // removes the oldest
    EXPECT_EQ(directory.Names(),
              (Lines{"01-start.txt", "snapshot-02", "snapshot-03", "snapshot-04", "snapshot-4"}));
    EXPECT_EQ(directory.Read("snapshot-04/01-start.txt"), "one\ntwo\n");
}

TEST_F(LoggerTest, SaysWhatASnapshotLacks) {
    directory.Write("01.txt", std::string(5000, 'x'));
    directory.Write("02.txt", "small\n");
    DebugCapture capture(0);
    Logger logger({.directory = directory.Path()});
    Debug debug({}, &logger);
    debug.SetAsDefault();
    {
        const FileSizeLimit limit(4096);
        debug.Snapshot();
    }
    const std::string copy = directory.File("snapshot-01/01.txt");
    EXPECT_EQ(
        WithoutPrefixes(directory.Lines("03-start.txt")),
        Lines{"Could not copy \"" + directory.File("01.txt") + "\" to \"" + copy + "\": File too large"});
    EXPECT_FALSE(FileUtilities::FileExists(copy));
    EXPECT_EQ(directory.Read("snapshot-01/02.txt"), "small\n");
    directory.Write("snapshot-02", "");
    EXPECT_EQ(ThrownMessage([&] { debug.Snapshot(); }),
              "Could not create directory \"" + directory.File("snapshot-02") + "\": File exists");
    Rename("snapshot-01", "snapshot-99");
    directory.Write("snapshot-01", "");
    EXPECT_EQ(ThrownMessage([&] { debug.Snapshot(); }),
              "Could not renumber the snapshots in \"" + directory.Path() + "\": File exists");
}

}  // namespace
}  // namespace quarn::test
