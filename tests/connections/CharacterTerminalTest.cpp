#include "connections/Loopback.h"

namespace quarn::test {

using CharacterTerminalTest = LinkTest;

// What arrives is compared with a model by fuzz/character_terminal.
TEST_F(CharacterTerminalTest, EmptiesAFullBacklogAndSurvivesRandomBytes) {
    CharacterTerminal terminal(*link.connection);
    terminal.Put(std::vector<char>(16383));
    terminal.Put({'b'});  // 16384 now
    EXPECT_EQ(capture.Lines(), Lines());
    terminal.Put({'c'});
    terminal.Put({'d'});
    EXPECT_TRUE(terminal.WorkPending());
    EXPECT_TRUE(terminal.Work());
    EXPECT_FALSE(terminal.WorkPending());
    EXPECT_EQ(link.peer.Read(2), "cd");
    EXPECT_EQ(capture.Lines(), Lines{"TX backlog for \"c\" is full; clearing (traffic lost)"});

    link.Deliver(RandomBytes(10 << 20) + "e", terminal);
    std::vector<char> data;
    EXPECT_TRUE(terminal.Get(data));
    EXPECT_EQ(data.back(), 'e');
}

}  // namespace quarn::test
