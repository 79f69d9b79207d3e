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
    FileUtilities::CreateDirectory(directory.File("outside"));
    directory.Write("outside/kept", "kept");
    FileUtilities::CreateDirectory(directory.File("tree"));
    FileUtilities::CreateDirectory(directory.File("tree/below"));
    directory.Write("tree/file", "");
    directory.Write("tree/below/.hidden", "");
    ASSERT_EQ(symlink("../outside", directory.File("tree/link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", directory.File("tree/below/dangling").c_str()), 0);
    FileUtilities::RemoveDirectoryAndContents(directory.File("tree"));
    EXPECT_EQ(directory.Names(), Lines{"outside"});
    EXPECT_EQ(directory.Read("outside/kept"), "kept");

    ASSERT_EQ(symlink("outside", directory.File("link").c_str()), 0);
    const std::pair<const char*, const char*> refused[] = {
        {"link", "Not a directory"},
        {"link/", "Not a directory"},
        {"outside/kept", "Not a directory"},
        {"missing", "No such file or directory"},
    };
    for (const auto& [name, reason] : refused) {
        const std::string path = directory.File(name);
        EXPECT_EQ(ThrownMessage([&] { FileUtilities::RemoveDirectoryAndContents(path); }),
                  "Could not remove \"" + path.substr(0, path.find_last_not_of('/') + 1) + "\": " + reason);
    }
    EXPECT_EQ(FileUtilities::GetFileSize(directory.File("link/kept")), 4u);
    EXPECT_EQ(ThrownMessage([&] { FileUtilities::GetFileSize(directory.File("missing")); }),
              "Could not get the size of \"" + directory.File("missing") + "\": No such file or directory");
    FileUtilities::RemoveDirectoryAndContents(directory.File("outside//"));
    EXPECT_EQ(directory.Names(), Lines{"link"});
}

TEST(FileUtilitiesTest, CopiesBytesToAFreeName) {
    const TempDirectory directory;
    std::string bytes;
    for (size_t i = 0; i < 200001; ++i)
        bytes += static_cast<char>(i * 31 + i / 256);
    directory.Write("from", bytes);
    chmod(directory.File("from").c_str(), 0640);
    FileUtilities::CreateDirectory(directory.File("directory"));
    const auto thrown = [&](const char* from, const char* to) {
        return ThrownMessage([&] { FileUtilities::CopyFile(directory.File(from), directory.File(to)); });
    };
    EXPECT_EQ(thrown("from", "to"), "(nothing thrown)");
    EXPECT_TRUE(directory.Read("to") == bytes);
    struct stat status;
    ASSERT_EQ(stat(directory.File("to").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);

    directory.Write("taken", "taken");
    const std::tuple<const char*, const char*, const char*> refused[] = {
        {"missing", "new", "No such file or directory"},
        {"directory", "new", "Is a directory"},
        {"from", "taken", "File exists"},
    };
    for (const auto& [from, to, reason] : refused)
        EXPECT_EQ(thrown(from, to), "Could not copy \"" + directory.File(from) + "\" to \"" +
                                        directory.File(to) + "\": " + reason);
    EXPECT_EQ(directory.Read("taken"), "taken");
    EXPECT_EQ(directory.Names(), (Lines{"directory", "from", "taken", "to"}));
}

}  // namespace
}  // namespace quarn::test
