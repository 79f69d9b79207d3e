#include "connections/Loopback.h"

namespace quarn::test {

using LineTerminalTest = LinkTest;

// How lines are split, and how many may wait, is compared with a model by fuzz/line_terminal.
TEST_F(LineTerminalTest, DropsALineThatIsTooLongAndSurvivesRandomBytes) {
    LineTerminal terminal(*link.connection);
    const std::string most(65534, 'x');
    // The limit comes before the newline is seen: the line behind it goes as well.
    for (const std::string& piece : {most + "x", std::string("\nafter\n"), most, std::string("\n")})
        link.Deliver(piece, terminal);
    std::string line;
    EXPECT_TRUE(terminal.Get(line));
    EXPECT_EQ(line, most);
    EXPECT_EQ(capture.Lines(), Lines{"RX partial line for \"c\" is full; clearing (traffic lost)"});

    link.Deliver(RandomBytes(10 << 20) + "\nend\n", terminal);
    while (terminal.Get(line))
        continue;
    EXPECT_EQ(line, "end");
    uint64_t received = 0;
    terminal.GetCharacterCounts(&received, nullptr);
    EXPECT_EQ(received, (10U << 20) + 2 * 65535 + 12);
}

TEST_F(LineTerminalTest, EmptiesAFullListBeforeItQueuesAndKeepsTheTailOfALineSentInPart) {
    LineTerminal terminal(*link.connection);
    const std::string longLine(16 << 20, 'l');
    uint64_t read = 0, sent = 0;
    const auto readAll = [&] {
        std::string text;
        do {
            EXPECT_TRUE(terminal.Work());
            terminal.GetCharacterCounts(nullptr, &sent);
            text += link.peer.Read(sent - std::exchange(read, sent));
        } while (terminal.WorkPending());
        return text;
    };
    terminal.Put(longLine);
    terminal.Work();
    for (int i = 2; i <= 1024; ++i)
        terminal.Put("lost");
    EXPECT_EQ(capture.Lines(), Lines());
    terminal.Put("kept");  // and sent from its start, although a part of another line was
    EXPECT_TRUE(readAll().ends_with("lkept\n"));
    EXPECT_EQ(capture.Lines(), Lines{"TX line backlog for \"c\" is full; clearing (traffic lost)"});

    for (const std::string& line : {longLine, std::string(), std::string("last")})
        terminal.Put(line);
    EXPECT_TRUE(readAll() == longLine + "\n\nlast\n");
}

}  // namespace quarn::test
