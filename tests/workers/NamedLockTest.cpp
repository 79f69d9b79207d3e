#include "workers/ScriptedWorker.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace quarn::test {
namespace {

struct NamedLockTest : testing::Test {
    ~NamedLockTest() override { EXPECT_EQ(unlink(path.c_str()), 0); }
    const std::string name = "quarn-test-" + std::to_string(getpid()), path = "/var/lock/LCK.." + name;
};

TEST_F(NamedLockTest, ExcludesOtherHoldersOfTheName) {
    const mode_t mask = umask(0);
    NamedLock first(name), second(name);
    umask(mask);
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0666));
    first.Lock();
    first.Lock();  // has it already
    EXPECT_FALSE(second.TryLock());
    EXPECT_THAT(
        ThrownMessage([&] { second.Lock(); }),
        testing::MatchesRegex("NamedLock: attempt to lock " + path + " timed out after [1-9][0-9][0-9]+ ms"));
    first.Unlock();
    {
        NamedLock third(name);
        third.Lock();
        EXPECT_FALSE(first.TryLock());
    }
    first.Lock();  // destruction released it
}

TEST_F(NamedLockTest, SaysWhatTheSystemRefuses) {
    EXPECT_EQ(ThrownMessage([] { NamedLock lock("quarn-no-such-folder/x"); }),
              "NamedLock: could not create /var/lock/LCK..quarn-no-such-folder/x: No such file or directory");
    DebugCapture debug;
    const int next = open("/dev/null", O_RDONLY);  // the lowest that is free, which the lock's file will get
    close(next);
    {
        NamedLock lock(name);
        close(next);  // behind its back
        const std::string end = "locking " + path + ": Bad file descriptor";
        EXPECT_EQ(ThrownMessage([&] { lock.Lock(); }), "NamedLock: error " + end);
        EXPECT_EQ(ThrownMessage([&] { lock.Unlock(); }), "NamedLock: error un" + end);
    }
    EXPECT_EQ(debug.Lines(), Lines{"NamedLock: could not close " + path + ": Bad file descriptor"});
}

}  // namespace
}  // namespace quarn::test
