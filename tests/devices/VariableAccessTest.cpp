#include <quarn/quarn.h>

#include "support/Eventually.h"
#include "workers/ScriptedWorker.h"

#include <gtest/gtest.h>

namespace quarn {
namespace {

using Lines = std::list<std::string>;

struct Board {
    Board() {
        dictionary.Add(1, "rf.a.gain", VariantType::INT16);
        dictionary.Add(2, "rf.b.gain", VariantType::INT16);
        dictionary.Add(3, "rf.names", VariantType::STRING_LIST);
        dictionary.Add(4, "sys.uptime", VariantType::UINT64);
        dictionary.Add(5, "sys.unused", VariantType::UINT8);
        index.Add(1, &gains[0], 0x10);
        index.Add(2, &gains[1], 0x10);
        index.Add(3, &names, 0);
        index.Add(4, VariantType::UINT64, nullptr, nullptr, 0);
    }

    VariableDictionary dictionary{"board"};
    VariableIndex index{"board", dictionary};
    int16_t gains[2] = {5, 6};
    std::vector<std::string> names;
};

TEST(VariableAccessTest, ListsShowsAndSets) {
    Board board;
    VariableAccess access(board.index);
    Accessors accessors;
    accessors.Add(access);
    struct Case {
        const char* line;
        Lines response;
    };
    const std::vector<Case> cases = {
        {"var show rf.*.gain rf.a*", {"rf.a.gain = 5", "rf.b.gain = 6"}},
        {"var set rf.?.gain 1", {"VAR: no variable matches \"rf.?.gain\""}},
        {"var set rf.*.gain -7", {"rf.a.gain = -7", "rf.b.gain = -7"}},
        {"var set rf.* \"8 9\"",
         {"VAR: rf.a.gain: Could not convert \"8 9\" to int16",
          "VAR: rf.b.gain: Could not convert \"8 9\" to int16", "rf.names = 8 9"}},
        {"var set rf.names \"\"", {"rf.names = "}},
        {"var show *gain sys.*",
         {"rf.a.gain = -7", "rf.b.gain = -7",
          "VAR: sys.uptime: Attempted to get ungettable variant reference"}},
        {"var set sys.uptime 1", {"VAR: sys.uptime: Attempted to set unsettable variant reference"}},
        {"var show rf.* RF.*", {"VAR: no variable matches \"RF.*\""}},
        {"var show sys.unused", {"VAR: no variable matches \"sys.unused\""}},
        {"var show", {"\"var show\" command requires at least 1 argument"}},
        {"var set rf.names 1 2", {"\"var set\" command requires 2 arguments"}},
        {"var clear", {"\"var\" command has no \"clear\" subcommand"}},
        {"var",
         {"var list [<pattern> ...]     lists all or matching variables",
          "    show <pattern> [...]     shows the values of matching variables",
          "    set <pattern> <value>    sets matching variables"}},
        {"help", {"var  Lists, shows and sets variables  "}},
    };
    for (const Case& c : cases) {
        Lines expected = c.response;
        expected.push_back("\x04");
        EXPECT_EQ(accessors.Execute(c.line), expected) << c.line;
    }
    EXPECT_EQ(access.Execute("var", {"list", "rf.a*", "rf.n*"}), board.index.List({1, 3}, true));
    EXPECT_EQ(access.Execute("var", {"list"}), board.index.List({1, 2, 3, 4}, true));
}

TEST(VariableAccessTest, TakesTheOwnersLockAndWakesIt) {
    Board board;
    test::ScriptedWorker owner("owner");
    VariableAccess access(board.index, &owner);
    std::atomic<int> seen{0};
    owner.work = [&] {
        seen = board.gains[0];
        return true;
    };
    owner.Start();
    EXPECT_EQ(access.Execute("var", {"set", "rf.a.gain", "3"}), Lines{"rf.a.gain = 3"});
    EXPECT_TRUE(test::Eventually([&] { return seen == 3; }));
    ASSERT_TRUE(owner.TryLock(10000));  // given back
    owner.Unlock();
    owner.Stop();
    Accessors accessors;
    accessors.Add(access);
    EXPECT_EQ(accessors.Execute("var list"), (Lines{"VAR: worker \"owner\" has ended", "\x04"}));
}

}  // namespace
}  // namespace quarn
