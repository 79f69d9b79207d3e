#include "foundation/FoundationTest.h"
#include "support/Resources.h"

#include <filesystem>

namespace quarn::test {
namespace {

namespace fs = std::filesystem;

// Works in a folder of its own.
struct LoggerTest : testing::Test {
    LoggerTest() { fs::current_path(directory.Path()); }
    ~LoggerTest() override { fs::current_path(before); }

    void Open(const Words& w) {
        const auto number = [&w](size_t i) { return static_cast<uint32_t>(std::stoul(w.at(i))); };
        logger = std::make_unique<Logger>(
            LoggerOptions{w.at(1), w.at(2), "-start", number(3), number(4), number(5), number(6)});
    }
    void Snapshot() const {
        Debug debug({.consoleMask = 0}, logger.get());
        debug.SetAsDefault();
        debug.Snapshot();
    }

    const fs::path before = fs::current_path();
    const TempDirectory directory;
    std::unique_ptr<Logger> logger;
    std::unique_ptr<FileSizeLimit> limit;
    const Commands commands{
        {"logger", [&](auto& w, auto&) { Open(w); }},
        {"log", [&](auto& w, auto&) { logger->Write(w.at(1).c_str()); }},
        {"good", [&](auto&, auto& out) { out << logger->IsGood(); }},
        {"snapshot", [&](auto&, auto&) { Snapshot(); }},
        {"full", [&](auto& w, auto&) { limit = std::make_unique<FileSizeLimit>(std::stoul(w.at(1))); }},
        {"room", [&](auto&, auto&) { limit.reset(); }},
        {"write", [&](auto& w, auto&) { directory.Write(w.at(1), w.at(2)); }},
        {"cat", [&](auto& w, auto& out) { out << Prettify(WithoutPrefixes({directory.Read(w.at(1))})[0]); }},
        {"link", [&](auto& w, auto&) { fs::create_symlink(w.at(1), w.at(2)); }},
        {"rename", [&](auto& w, auto&) { fs::rename(w.at(1), w.at(2)); }},
        {"size", [&](auto& w, auto& out) { out << FileUtilities::GetFileSize(w.at(1)); }},
        {"copy", [&](auto& w, auto&) { FileUtilities::CopyFile(w.at(1), w.at(2)); }},
        {"mkdir", [&](auto& w, auto&) { FileUtilities::CreateDirectory(w.at(1)); }},
        {"remove", [&](auto& w, auto&) { FileUtilities::RemoveDirectoryAndContents(w.at(1)); }},
        {"ls", [&](auto& w, auto& out) { out << testing::PrintToString(directory.Names(w.at(1))); }},
    };
};

TEST_F(LoggerTest, NumbersItsFilesAndSnapshots) {
    CommandPlayer(commands).Replay("logger.txt");
}

TEST_F(LoggerTest, CopiesAndRemovesFiles) {
    CommandPlayer(commands).Replay("files.txt");
}

TEST_F(LoggerTest, WritesAndCopiesMoreThanABufferHolds) {
    Logger endless({.directory = "", .linesPerFile = 0});
    std::string expected;
    for (const size_t length : {1023, 1024, 200000}) {
        const std::string line(length, 'x');
        endless.Write(line.c_str());
        endless.Write((line + "\n").c_str());
        expected += line + "\n" + line + "\n";
    }
    endless.Write(nullptr);
    fs::permissions("01-start.txt", fs::perms(0640));
    FileUtilities::CopyFile("01-start.txt", "copy");
    EXPECT_TRUE(directory.Read("copy") == expected);
    EXPECT_EQ(fs::status("copy").permissions(), fs::perms(0640));
}

}  // namespace
}  // namespace quarn::test
