#include <quarn/FileUtilities.h>

#include "support/TempDirectory.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace quarn {
namespace {

using Names = std::vector<std::string>;

TEST(FileUtilitiesTest, RemovesATreeAndNothingOutside) {
    const test::TempDirectory directory;
    FileUtilities::CreateDirectory(directory.File("outside"));
    directory.Write("outside/kept", "kept");
    FileUtilities::CreateDirectory(directory.File("tree"));
    FileUtilities::CreateDirectory(directory.File("tree/below"));
    directory.Write("tree/file", "");
    directory.Write("tree/below/.hidden", "");
    ASSERT_EQ(symlink("../outside", directory.File("tree/link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", directory.File("tree/below/dangling").c_str()), 0);
    FileUtilities::RemoveDirectoryAndContents(directory.File("tree"));
    EXPECT_EQ(directory.Names(), Names{"outside"});
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
        EXPECT_EQ(test::ThrownMessage([&] { FileUtilities::RemoveDirectoryAndContents(path); }),
                  "Could not remove \"" + path.substr(0, path.find_last_not_of('/') + 1) + "\": " + reason);
    }
    EXPECT_EQ(directory.Read("outside/kept"), "kept");
    FileUtilities::RemoveDirectoryAndContents(directory.File("outside//"));
    EXPECT_EQ(directory.Names(), Names{"link"});
}

TEST(FileUtilitiesTest, CreatesOneDirectory) {
    const test::TempDirectory directory;
    const auto thrown = [&](const char* name) {
        return test::ThrownMessage([&] { FileUtilities::CreateDirectory(directory.File(name)); });
    };
    const std::string where = "Could not create directory \"" + directory.Path();
    EXPECT_EQ(thrown("new"), "(nothing thrown)");
    EXPECT_EQ(thrown("new"), where + "/new\": File exists");
    EXPECT_EQ(thrown("a/b"), where + "/a/b\": No such file or directory");
}

TEST(FileUtilitiesTest, CopiesBytesToAFreeName) {
    const test::TempDirectory directory;
    std::string bytes;
    for (size_t i = 0; i < 200001; ++i)
        bytes += static_cast<char>(i * 31 + i / 256);
    directory.Write("from", bytes);
    chmod(directory.File("from").c_str(), 0640);
    FileUtilities::CreateDirectory(directory.File("directory"));
    const auto thrown = [&](const char* from, const char* to) {
        return test::ThrownMessage(
            [&] { FileUtilities::CopyFile(directory.File(from), directory.File(to)); });
    };
    const auto message = [&](const char* from, const char* to, const char* reason) {
        return "Could not copy \"" + directory.File(from) + "\" to \"" + directory.File(to) + "\": " + reason;
    };
    EXPECT_EQ(thrown("from", "to"), "(nothing thrown)");
    EXPECT_TRUE(directory.Read("to") == bytes);
    struct stat status;
    ASSERT_EQ(stat(directory.File("to").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);

    EXPECT_EQ(thrown("missing", "new"), message("missing", "new", "No such file or directory"));
    EXPECT_EQ(thrown("directory", "new"), message("directory", "new", "Is a directory"));
    directory.Write("taken", "taken");
    EXPECT_EQ(thrown("from", "taken"), message("from", "taken", "File exists"));
    EXPECT_EQ(directory.Read("taken"), "taken");
    EXPECT_EQ(directory.Names(), (Names{"directory", "from", "taken", "to"}));
}

}  // namespace
}  // namespace quarn
