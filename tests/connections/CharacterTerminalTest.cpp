#include <quarn/CharacterTerminal.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <vector>

namespace quarn::test {
namespace {

std::vector<char> Characters(const std::string& text) {
    return {text.begin(), text.end()};
}

TEST(CharacterTerminal, MovesCharactersBothWays) {
    Link link;
    CharacterTerminal terminal(*link.connection);
    std::vector<char> data = Characters("kept");
    EXPECT_FALSE(terminal.Get(data));
    EXPECT_EQ(data, Characters("kept"));
    link.Deliver(std::string("a\0b\n", 4), terminal);
    link.Deliver("c", terminal);
    EXPECT_TRUE(terminal.Get(data));
    EXPECT_EQ(data, Characters(std::string("a\0b\nc", 5)));
    EXPECT_FALSE(terminal.Get(data));

    terminal.Put(Characters("x"));
    terminal.Put(Characters("yz"));
    EXPECT_TRUE(terminal.WorkPending());
    EXPECT_TRUE(terminal.Work());
    EXPECT_FALSE(terminal.WorkPending());
    EXPECT_EQ(link.peer.Read(3), "xyz");
    link.peer.Close();
    ASSERT_TRUE(WaitFor(terminal.Socket(), 1));
    EXPECT_FALSE(terminal.Work());
}

TEST(CharacterTerminal, EmptiesAFullBacklog) {
    DebugCapture capture;
    Link link;
    CharacterTerminal terminal(*link.connection);
    terminal.Put(Characters(std::string(16383, 'a')));
    terminal.Put(Characters("b"));  // 16384 now
    EXPECT_EQ(capture.Lines(), Lines());
    terminal.Put(Characters("cd"));
    EXPECT_TRUE(terminal.Work());
    EXPECT_EQ(link.peer.Read(2), "cd");

    std::vector<char> data;
    link.Deliver(std::string(16383, 'a'), terminal);
    link.Deliver("b", terminal);
    EXPECT_FALSE(terminal.Get(data));
    link.Deliver("c", terminal);
    EXPECT_TRUE(terminal.Get(data));
    EXPECT_EQ(data, Characters("c"));
    EXPECT_EQ(capture.Lines(), Lines({"TX backlog for \"c\" is full; clearing (traffic lost)",
                                      "RX backlog for \"c\" is full; clearing (traffic lost)"}));
}

}  // namespace
}  // namespace quarn::test
