#include <quarn/quarn.h>

#include "support/Eventually.h"
#include "workers/ScriptedWorker.h"

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

using Response = std::list<std::string>;

class VariableAccessTest : public testing::Test {
protected:
    VariableAccessTest() {
        dictionary_.Add(1, "rf.a.gain", VariantType::INT16);
        dictionary_.Add(2, "rf.b.gain", VariantType::INT16);
        dictionary_.Add(3, "rf.names", VariantType::STRING_LIST);
        dictionary_.Add(4, "sys.uptime", VariantType::UINT64);
        dictionary_.Add(5, "sys.unused", VariantType::UINT8);
        index_.Add(1, &gains_[0], 0x10);
        index_.Add(2, &gains_[1], 0x10);
        index_.Add(3, &names_, 0);
        index_.Add(4, VariantType::UINT64, nullptr, nullptr, 0);
    }

    VariableDictionary dictionary_{"board"};
    VariableIndex index_{"board", dictionary_};
    int16_t gains_[2] = {5, 6};
    std::vector<std::string> names_;
    Accessors accessors_;
};

TEST_F(VariableAccessTest, ListsShowsAndSets) {
    VariableAccess access(index_);
    accessors_.Add(access);
    const std::pair<const char*, Response> cases[] = {
        {"var show rf.*.gain rf.a*", {"rf.a.gain = 5", "rf.b.gain = 6"}},
        {"var set rf.?.gain 1", {"VAR: no variable matches \"rf.?.gain\""}},
        {"var set rf.*.gain -7", {"rf.a.gain = -7", "rf.b.gain = -7"}},
        {"var set rf.* \"8 9\"",
         {"VAR: rf.a.gain: Could not convert \"8 9\" to int16",
          "VAR: rf.b.gain: Could not convert \"8 9\" to int16", "rf.names = 8 9"}},
        {"var show sys.*", {"VAR: sys.uptime: Attempted to get ungettable variant reference"}},
        {"var show rf.* RF.*", {"VAR: no variable matches \"RF.*\""}},
        {"var show sys.unused", {"VAR: no variable matches \"sys.unused\""}},
        {"var clear", {"\"var\" command has no \"clear\" subcommand"}},
        {"var show", {"\"var show\" command requires at least 1 argument"}},
    };
    for (const auto& [line, response] : cases) {
        Response expected = response;
        expected.push_back("\x04");
        EXPECT_EQ(accessors_.Execute(line), expected) << line;
    }
    EXPECT_EQ(access.Execute("var", {"list", "rf.a*", "rf.n*"}), index_.List({1, 3}, true));
    EXPECT_EQ(access.Execute("var", {"list"}), index_.List({1, 2, 3, 4}, true));
}

TEST_F(VariableAccessTest, TakesTheOwnersLockAndWakesIt) {
    ScriptedWorker owner("owner");
    VariableAccess access(index_, &owner);
    std::atomic<int> seen{0};
    owner.work = [&] {
        seen = gains_[0];
        return true;
    };
    owner.Start();
    EXPECT_EQ(access.Execute("var", {"set", "rf.a.gain", "3"}), Response{"rf.a.gain = 3"});
    EXPECT_TRUE(Eventually([&] { return seen == 3; }));
    ASSERT_TRUE(owner.TryLock(10000));  // given back
    owner.Unlock();
    owner.Stop();
    accessors_.Add(access);
    EXPECT_EQ(accessors_.Execute("var list"), (Response{"VAR: worker \"owner\" has ended", "\x04"}));
}

}  // namespace
}  // namespace quarn::test
