#include <quarn/NamedLock.h>

#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace quarn::test {
namespace {

/// The descriptor that is open on the file; -1 for none.
int DescriptorOf(const std::string& path) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone) == std::filesystem::canonical(path))
            return std::stoi(entry.path().filename());
    }
    return -1;
}

class NamedLockTest : public testing::Test {
protected:
    ~NamedLockTest() override { unlink(path.c_str()); }

    const std::string name = "quarn-test-" + std::to_string(getpid());
    const std::string path = "/var/lock/LCK.." + name;
};

TEST_F(NamedLockTest, ExcludesOtherHoldersOfTheName) {
    const mode_t mask = umask(0022);
    NamedLock first(name);
    umask(mask);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0644u);

    NamedLock second(name);
    first.Lock();
    first.Lock();  // has it already
    EXPECT_FALSE(second.TryLock());
    const std::string message = ThrownMessage([&] { second.Lock(); });
    unsigned elapsed = 0;
    ASSERT_EQ(sscanf(message.c_str() + message.find(" after ") + 1, "after %u ms", &elapsed), 1) << message;
    EXPECT_EQ(message,
              "NamedLock: attempt to lock " + path + " timed out after " + std::to_string(elapsed) + " ms");
    EXPECT_GT(elapsed, 100u);

    first.Unlock();
    EXPECT_TRUE(second.TryLock());
    EXPECT_FALSE(first.TryLock());
    second.Unlock();
    {
        NamedLock third(name);
        third.Lock();
        EXPECT_FALSE(first.TryLock());
    }
    first.Lock();  // destruction released it
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
}

TEST_F(NamedLockTest, SaysWhatTheSystemRefuses) {
    DebugCapture debug;
    {
        NamedLock lock(name);
        lock.Lock();
        close(DescriptorOf(path));  // behind its back
        EXPECT_EQ(ThrownMessage([&] { lock.Lock(); }),
                  "NamedLock: error locking " + path + ": Bad file descriptor");
        EXPECT_FALSE(lock.TryLock());
        EXPECT_EQ(ThrownMessage([&] { lock.Unlock(); }),
                  "NamedLock: error unlocking " + path + ": Bad file descriptor");
        EXPECT_TRUE(debug.Lines().empty());
    }
    EXPECT_EQ(debug.Lines(),
              std::vector<std::string>{"NamedLock: could not close " + path + ": Bad file descriptor"});
}

TEST_F(NamedLockTest, SaysWhichFileCannotBeCreated) {
    EXPECT_EQ(ThrownMessage([] { NamedLock lock("quarn-no-such-folder/x"); }),
              "NamedLock: could not create /var/lock/LCK..quarn-no-such-folder/x: No such file or directory");
}

}  // namespace
}  // namespace quarn::test
