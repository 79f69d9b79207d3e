#include <quarn/FileUtilities.h>

#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace quarn::test {
namespace {

TEST(FileUtilitiesTest, RemovesATreeAndNothingOutside) {
    const TempDirectory directory;
    for (const char* name : {"outside", "tree", "tree/below"})
        FileUtilities::CreateDirectory(directory.File(name));
    for (const char* name : {"outside/kept", "tree/file", "tree/below/.hidden"})
        directory.Write(name, "kept");
    ASSERT_EQ(symlink("../outside", directory.File("tree/link").c_str()), 0);
    ASSERT_EQ(symlink("outside", directory.File("link").c_str()), 0);
    FileUtilities::RemoveDirectoryAndContents(directory.File("tree//"));
    EXPECT_EQ(directory.Names(), (Lines{"link", "outside"}));
    for (const char* name : {"link", "link/"})
        EXPECT_EQ(ThrownMessage([&] { FileUtilities::RemoveDirectoryAndContents(directory.File(name)); }),
                  "Could not remove \"" + directory.File("link") + "\": Not a directory");
    EXPECT_EQ(FileUtilities::GetFileSize(directory.File("link/kept")), 4u);
    EXPECT_EQ(ThrownMessage([&] { FileUtilities::GetFileSize(directory.File("tree")); }),
              "Could not get the size of \"" + directory.File("tree") + "\": No such file or directory");
}

TEST(FileUtilitiesTest, CopiesBytesToAFreeName) {
    const TempDirectory directory;
    const std::string bytes = std::string(200000, 'x') + "y";
    directory.Write("from", bytes);
    directory.Write("taken", "taken");
    chmod(directory.File("from").c_str(), 0640);
    FileUtilities::CopyFile(directory.File("from"), directory.File("to"));
    EXPECT_TRUE(directory.Read("to") == bytes);
    struct stat status;
    ASSERT_EQ(stat(directory.File("to").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);

    const std::tuple<const char*, const char*, const char*> refused[] = {
        {"missing", "new", "No such file or directory"},
        {".", "new", "Is a directory"},
        {"from", "taken", "File exists"},
    };
    for (const auto& [name, to, reason] : refused) {
        const std::string source = directory.File(name), copy = directory.File(to);
        EXPECT_EQ(ThrownMessage([&] { FileUtilities::CopyFile(source, copy); }),
                  "Could not copy \"" + source + "\" to \"" + copy + "\": " + reason);
    }
    EXPECT_EQ(directory.Read("taken"), "taken");
    EXPECT_EQ(directory.Names(), (Lines{"from", "taken", "to"}));
}

}  // namespace
}  // namespace quarn::test
