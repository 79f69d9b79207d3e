#include <quarn/Debug.h>
#include <quarn/Logger.h>

#include "support/DebugCapture.h"
#include "support/FileSizeLimit.h"
#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace quarn::test {
namespace {

LoggerOptions In(const TempDirectory& directory, uint32_t linesPerFile = 10000) {
    LoggerOptions options;
    options.directory = directory.Path();
    options.linesPerFile = linesPerFile;
    return options;
}

TEST(LoggerTest, RefusesOptionsThatDoNotFit) {
    const std::tuple<uint32_t, uint32_t, uint32_t, const char*> cases[] = {
        {0, 1, 1, "Logger must use between 1 and 6 index digits"},
        {7, 1, 1, "Logger must use between 1 and 6 index digits"},
        {1, 10, 10, "Requested limit of 10 log files is too many for 1 index digits (max is 9)"},
        {2, 99, 100, "Requested limit of 100 snapshots is too many for 2 index digits (max is 99)"},
        {6, 999999, 999999, "(nothing thrown)"},
    };
    for (const auto& [digits, files, snapshots, message] : cases) {
        const TempDirectory directory;
        LoggerOptions options = In(directory);
        options.indexDigits = digits;
        options.maxLogFiles = files;
        options.maxSnapshots = snapshots;
        EXPECT_EQ(ThrownMessage([&] { Logger logger(options); }), message);
    }
}

TEST(LoggerTest, BeginsAFileBehindThoseThereAre) {
    const std::tuple<uint32_t, uint32_t, Lines, Lines> cases[] = {
        {2, 10, {}, {"01-start.txt"}},
        {2, 10, {"98.txt"}, {"98.txt", "99-start.txt"}},
        {2, 10, {"97.txt", "98-start.txt", "99.txt"}, {"01.txt", "02-start.txt", "03.txt", "04-start.txt"}},
        // Numbers that were used twice.
        {2,
         10,
         {"01-start.txt", "01.txt", "02-start.txt", "04.txt", "09-start.txt"},
         {"01-start.txt", "02.txt", "03-start.txt", "04.txt", "05-start.txt", "06-start.txt"}},
        {2, 3, {"01.txt", "03.txt", "04.txt", "05.txt"}, {"04.txt", "05.txt", "06-start.txt"}},
        {2, 1, {"03.txt", "09.txt"}, {"01-start.txt"}},
        {1,
         0,
         {"1.txt", "2.txt", "3.txt", "4.txt", "5.txt", "6.txt", "7.txt", "8.txt", "9-start.txt"},
         {"1.txt", "2.txt", "3.txt", "4.txt", "5.txt", "6.txt", "7.txt", "8-start.txt", "9-start.txt"}},
        {6, 2, {"000009.txt"}, {"000009.txt", "000010-start.txt"}},
        // Almost log files.
        {2,
         2,
         {"00.txt", "001.txt", "05-start", "05.txt~", "1.txt", "a1.txt", "+1.txt", "\xEF\xBC\x91.txt"},
         {"+1.txt", "00.txt", "001.txt", "01-start.txt", "05-start", "05.txt~", "1.txt", "a1.txt",
          "\xEF\xBC\x91.txt"}},
    };
    for (const auto& [digits, maxFiles, before, after] : cases) {
        const TempDirectory directory;
        for (const std::string& name : before)
            directory.Write(name, "");
        LoggerOptions options = In(directory);
        options.indexDigits = digits;
        options.maxLogFiles = maxFiles;
        options.maxSnapshots = 1;
        EXPECT_TRUE(Logger(options).IsGood());
        EXPECT_EQ(directory.Names(), after);
    }
}

TEST(LoggerTest, LeavesWhatIsNoFileAlone) {
    const TempDirectory directory;
    directory.Write("target", "target");
    ASSERT_EQ(symlink("target", directory.File("05.txt").c_str()), 0);
    ASSERT_EQ(mkdir(directory.File("07.txt").c_str(), 0777), 0);
    directory.Write("snapshot-03", "");
    LoggerOptions options = In(directory, 1);
    options.maxSnapshots = 1;
    Logger logger(options);
    for (const char* line : {"1", "2", "3", "4"})
        logger.Write(line);
    EXPECT_TRUE(logger.IsGood());
    // The name of the next file is taken by the link, which is neither followed nor replaced.
    logger.Write("5");
    EXPECT_FALSE(logger.IsGood());
    logger.Snapshot();
    EXPECT_EQ(directory.Names(), (Lines{"01-start.txt", "02.txt", "03.txt", "04.txt", "05.txt", "07.txt",
                                        "snapshot-01", "snapshot-03", "target"}));
    EXPECT_EQ(directory.Read("target"), "target");

    // Nor does renumbering replace anything.
    const TempDirectory gap;
    gap.Write("03.txt", "");
    gap.Write("05.txt", "");
    ASSERT_EQ(symlink("nowhere", gap.File("01.txt").c_str()), 0);
    Logger blocked(In(gap));
    blocked.Write("lost");
    EXPECT_FALSE(blocked.IsGood());
    EXPECT_EQ(gap.Names(), (Lines{"01.txt", "03.txt", "05.txt"}));
}

TEST(LoggerTest, RotatesByLines) {
    const TempDirectory directory;
    LoggerOptions options = In(directory, 2);
    options.maxLogFiles = 3;
    options.startMarker = "+";
    options.suffix = ".log";
    Logger logger(options);
    const std::string longLine(5000, 'x');
    logger.Write(nullptr);
    for (const std::string& line : {std::string("a"), std::string("b\n"), std::string(), std::string("\n"),
                                    longLine, longLine + "\n", std::string("two\nlines"), std::string("h")})
        logger.Write(line.c_str());
    // No file is begun before there is a line for it.
    EXPECT_EQ(directory.Names(), (Lines{"02.log", "03.log", "04.log"}));
    EXPECT_EQ(directory.Read("02.log"), "\n\n");
    EXPECT_EQ(directory.Read("03.log"), longLine + "\n" + longLine + "\n");
    EXPECT_EQ(directory.Read("04.log"), "two\nlines\nh\n");

    const TempDirectory endless;
    Logger one(In(endless, 0));
    for (uint32_t i = 0; i < 10001; ++i)
        one.Write("", 0);
    EXPECT_EQ(endless.Names(), Lines{"01-start.txt"});
}

TEST(LoggerTest, StopsForGoodWhenNoFileCanBeBegun) {
    const TempDirectory directory;
    LoggerOptions options = In(directory, 1);
    options.directory += "/logs/";
    Logger never(options);
    EXPECT_FALSE(never.IsGood());
    ASSERT_EQ(mkdir(options.directory.c_str(), 0777), 0);
    never.Write("lost");
    never.Snapshot();
    Logger stopped(options);
    stopped.Write("written");
    ASSERT_EQ(rename(options.directory.c_str(), directory.File("gone").c_str()), 0);
    EXPECT_TRUE(stopped.IsGood());
    stopped.Write("lost");
    EXPECT_FALSE(stopped.IsGood());
    stopped.Snapshot();
    EXPECT_EQ(directory.Names(), Lines{"gone"});
    ASSERT_EQ(rename(directory.File("gone").c_str(), options.directory.c_str()), 0);
    stopped.Write("lost too");
    EXPECT_EQ(directory.Read("logs/01-start.txt"), "written\n");
}

TEST(LoggerTest, GoesOnAfterAFullDisk) {
    const TempDirectory directory;
    Logger logger(In(directory, 4));
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

TEST(LoggerTest, TakesSnapshots) {
    const TempDirectory directory;
    const auto make = [&](const std::string& name) {
        ASSERT_EQ(mkdir(directory.File(name).c_str(), 0777), 0);
        ASSERT_EQ(mkdir(directory.File(name + "/below").c_str(), 0777), 0);
        directory.Write(name + "/below/" + name, "");
    };
    make("snapshot-02");
    make("snapshot-04");
    make("snapshot-4");
    make("snapshot-005");
    directory.Write("other", "");
    LoggerOptions options = In(directory, 1);
    options.maxSnapshots = 3;
    Logger logger(options);
    logger.Write("one");
    logger.Write("two");
    logger.Snapshot();  // closes the gap
    EXPECT_EQ(directory.Names(), (Lines{"01-start.txt", "02.txt", "other", "snapshot-005", "snapshot-01",
                                        "snapshot-02", "snapshot-03", "snapshot-4"}));
    EXPECT_EQ(access(directory.File("snapshot-02/below/snapshot-04").c_str(), F_OK), 0);
    logger.Write("three");
    logger.Snapshot();  // removes the oldest
    EXPECT_EQ(directory.Names(), (Lines{"01-start.txt", "02.txt", "03.txt", "other", "snapshot-005",
                                        "snapshot-02", "snapshot-03", "snapshot-04", "snapshot-4"}));
    EXPECT_EQ(directory.Read("snapshot-03/01-start.txt") + directory.Read("snapshot-03/02.txt"),
              "one\ntwo\n");
    EXPECT_NE(access(directory.File("snapshot-03/03.txt").c_str(), F_OK), 0);
    EXPECT_EQ(directory.Read("snapshot-04/03.txt"), "three\n");
}

TEST(LoggerTest, SaysWhatASnapshotLacks) {
    const TempDirectory directory;
    directory.Write("01.txt", std::string(5000, 'x'));
    directory.Write("02.txt", "small\n");
    DebugCapture capture(0);
    Logger logger(In(directory));
    Debug debug({}, &logger);
    debug.SetAsDefault();
    {
        const FileSizeLimit limit(4096);
        debug.Snapshot();
    }
    const std::string copy = directory.File("snapshot-01/01.txt");
    const std::string message =
        "Could not copy \"" + directory.File("01.txt") + "\" to \"" + copy + "\": File too large";
    EXPECT_EQ(capture.Lines(), Lines{message});
    EXPECT_TRUE(directory.Read("03-start.txt").ends_with(message + "\n"));
    EXPECT_NE(access(copy.c_str(), F_OK), 0);
    EXPECT_EQ(directory.Read("snapshot-01/02.txt") + directory.Read("snapshot-01/03-start.txt"), "small\n");

    directory.Write("snapshot-02", "");
    EXPECT_EQ(ThrownMessage([&] { debug.Snapshot(); }),
              "Could not create directory \"" + directory.File("snapshot-02") + "\": File exists");
    ASSERT_EQ(rename(directory.File("snapshot-01").c_str(), directory.File("snapshot-99").c_str()), 0);
    directory.Write("snapshot-01", "");
    EXPECT_EQ(ThrownMessage([&] { debug.Snapshot(); }),
              "Could not renumber the snapshots in \"" + directory.Path() + "\": File exists");
    EXPECT_TRUE(logger.IsGood());
}

}  // namespace
}  // namespace quarn::test
