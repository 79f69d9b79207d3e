#include <quarn/CharacterTerminal.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

std::vector<char> Characters(const std::string& text) {
    return {text.begin(), text.end()};
}

TEST(CharacterTerminal, MovesCharactersBothWaysAndEmptiesAFullBacklog) {
    DebugCapture capture;
    Link link;
    CharacterTerminal terminal(*link.connection);
    const std::string most(16383, '\0');
    terminal.Put(Characters(most));
    terminal.Put(Characters("b"));  // 16384 now
    EXPECT_EQ(capture.Lines(), Lines());
    terminal.Put(Characters("c"));
    terminal.Put(Characters("d"));
    EXPECT_TRUE(terminal.WorkPending());
    EXPECT_TRUE(terminal.Work());
    EXPECT_FALSE(terminal.WorkPending());
    EXPECT_EQ(link.peer.Read(2), "cd");

    std::vector<char> data;
    link.Deliver(most, terminal);
    EXPECT_TRUE(terminal.Get(data));
    link.Deliver(most, terminal);
    link.Deliver("b", terminal);
    EXPECT_FALSE(terminal.Get(data));
    EXPECT_EQ(data, Characters(most));
    EXPECT_EQ(capture.Lines(), Lines({"TX backlog for \"c\" is full; clearing (traffic lost)",
                                      "RX backlog for \"c\" is full; clearing (traffic lost)"}));

    link.Deliver(RandomBytes(10 << 20), terminal);
    link.Deliver("e", terminal);
    EXPECT_TRUE(terminal.Get(data));
    EXPECT_EQ(data.back(), 'e');
}

}  // namespace
}  // namespace quarn::test
