#include <quarn/LineTerminal.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

namespace quarn::test {
namespace {

Lines TakeAll(LineTerminal& terminal) {
    Lines lines;
    for (std::string line; terminal.Get(line);)
        lines.push_back(line);
    return lines;
}

TEST(LineTerminal, SplitsWhatArrivesAtNewlinesAndDropsWhatIsTooMuch) {
    DebugCapture capture;
    Link link;
    LineTerminal terminal(*link.connection);
    for (const char* const piece : {"ab\r\ncd", "e", "\n\n \t\r\n d \v\f\n"})
        link.Deliver(piece, terminal);
    link.Deliver(std::string("n\0l\n", 4), terminal);
    EXPECT_EQ(TakeAll(terminal), Lines({"ab", "cde", "", "", " d", std::string("n\0l", 3)}));

    link.Deliver(std::string(1023, '\n'), terminal);
    EXPECT_EQ(TakeAll(terminal).size(), 1023U);
    link.Deliver(std::string(1024, '\n') + "first\nsecond\npart", terminal);
    EXPECT_EQ(TakeAll(terminal), Lines({"first", "second"}));
    link.Deliver("ial\n", terminal);
    link.Deliver(std::string(65535, 'x'), terminal);
    EXPECT_EQ(capture.Lines(), Lines({"RX line backlog for \"c\" is full; clearing (traffic lost)"}));
    // The limit comes before the newline is seen: the line behind it goes as well.
    link.Deliver("\nafter\n", terminal);
    const std::string most(65534, 'x');
    link.Deliver(most, terminal);
    link.Deliver("\n", terminal);
    EXPECT_EQ(TakeAll(terminal), Lines({"partial", most}));
    EXPECT_EQ(capture.Lines().back(), "RX partial line for \"c\" is full; clearing (traffic lost)");

    link.Deliver(RandomBytes(10 << 20), terminal);
    link.Deliver("\nend\n", terminal);
    EXPECT_EQ(TakeAll(terminal).back(), "end");
}

TEST(LineTerminal, EmptiesAFullListBeforeItQueuesAndKeepsTheTailOfALineSentInPart) {
    DebugCapture capture;
    Link link;
    LineTerminal terminal(*link.connection);
    const std::string longLine(16 * 1024 * 1024, 'l');
    uint64_t read = 0, sent = 0;
    const auto readAll = [&] {
        std::string text;
        do {
            EXPECT_TRUE(terminal.Work());
            terminal.GetCharacterCounts(nullptr, &sent);
            text += link.peer.Read(sent - read);
            read = sent;
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
    EXPECT_EQ(capture.Lines(), Lines({"TX line backlog for \"c\" is full; clearing (traffic lost)"}));

    terminal.Put(longLine);
    terminal.Put("");
    terminal.Put("last");
    EXPECT_TRUE(readAll() == longLine + "\n\nlast\n");
}

}  // namespace
}  // namespace quarn::test
