#include <quarn/LineTerminal.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <vector>

namespace quarn::test {
namespace {

Lines TakeAll(LineTerminal& terminal) {
    Lines lines;
    for (std::string line; terminal.Get(line);)
        lines.push_back(line);
    return lines;
}

TEST(LineTerminal, SplitsWhatArrivesAtNewlines) {
    const std::pair<Lines, Lines> cases[] = {
        {{"ab\r\ncd", "\n"}, {"ab", "cd"}},
        {{"a", "b", "", "c\n\n \t\r\n d \n"}, {"abc", "", "", " d"}},
        {{std::string("n\0l \v\f\n", 7)}, {std::string("n\0l", 3)}},
        {{std::string(4095, 'x'), "\n", "\ny\n"}, {std::string(4095, 'x'), "", "y"}},
    };
    for (const auto& [pieces, lines] : cases) {
        Link link;
        LineTerminal terminal(*link.connection);
        uint64_t expected = 0, received = 0;
        for (const std::string& piece : pieces) {
            link.Deliver(piece, terminal);
            expected += piece.size();
        }
        EXPECT_EQ(TakeAll(terminal), lines);
        terminal.GetCharacterCounts(&received, nullptr);
        EXPECT_EQ(received, expected);
    }
}

TEST(LineTerminal, The1024thWaitingLineEmptiesTheList) {
    DebugCapture capture;
    Link link;
    LineTerminal terminal(*link.connection);
    std::string bytes;
    for (int i = 1; i <= 1023; ++i)
        bytes += std::to_string(i) + "\n";
    link.Deliver(bytes, terminal);
    EXPECT_EQ(TakeAll(terminal).size(), 1023U);
    link.Deliver(bytes + "lost\nfirst\nsecond\npart", terminal);
    EXPECT_EQ(TakeAll(terminal), Lines({"first", "second"}));
    link.Deliver("ial\n", terminal);
    EXPECT_EQ(TakeAll(terminal), Lines({"partial"}));
    EXPECT_EQ(capture.Lines(), Lines({"RX line backlog for \"c\" is full; clearing (traffic lost)"}));
}

TEST(LineTerminal, ForgetsAPartialLineOfMoreThan65535Characters) {
    DebugCapture capture;
    Link link;
    LineTerminal terminal(*link.connection);
    link.Deliver("before\n" + std::string(65535, 'x'), terminal);
    EXPECT_EQ(capture.Lines(), Lines());
    // The limit comes before the newline is seen: the line behind it goes as well.
    link.Deliver("\nafter\n", terminal);
    link.Deliver("end\n", terminal);
    EXPECT_EQ(TakeAll(terminal), Lines({"before", "end"}));
    EXPECT_EQ(capture.Lines(), Lines({"RX partial line for \"c\" is full; clearing (traffic lost)"}));
    link.Deliver(std::string(65534, 'x'), terminal);
    link.Deliver("\n", terminal);
    EXPECT_EQ(TakeAll(terminal), Lines({std::string(65534, 'x')}));
}

TEST(LineTerminal, KeepsTheTailOfALineSentInPart) {
    Link link;
    LineTerminal terminal(*link.connection);
    const std::string longLine(16 * 1024 * 1024, 'l');
    terminal.Put(longLine);
    terminal.Put("");
    terminal.Put("last");
    EXPECT_TRUE(terminal.Work());
    uint64_t sent = 0;
    terminal.GetCharacterCounts(nullptr, &sent);
    EXPECT_GT(sent, 0U);
    EXPECT_LT(sent, longLine.size());
    std::string read;
    while (terminal.WorkPending() || read.size() < sent) {
        read += link.peer.Read(sent - read.size());
        ASSERT_TRUE(terminal.Work());
        terminal.GetCharacterCounts(nullptr, &sent);
    }
    EXPECT_TRUE(read == longLine + "\n\nlast\n");
}

TEST(LineTerminal, EmptiesAFullListBeforeItQueues) {
    DebugCapture capture;
    Link link;
    LineTerminal terminal(*link.connection);
    terminal.Put(std::string(16 * 1024 * 1024, 'l'));
    EXPECT_TRUE(terminal.Work());
    uint64_t sent = 0;
    terminal.GetCharacterCounts(nullptr, &sent);
    for (int i = 2; i <= 1024; ++i)
        terminal.Put("lost");
    EXPECT_EQ(capture.Lines(), Lines());
    terminal.Put("kept");  // and sent from its start, although a part of another line was
    EXPECT_EQ(link.peer.Read(sent).size(), sent);
    while (terminal.WorkPending())
        ASSERT_TRUE(terminal.Work());
    EXPECT_EQ(link.peer.Read(5), "kept\n");
    EXPECT_EQ(capture.Lines(), Lines({"TX line backlog for \"c\" is full; clearing (traffic lost)"}));
}

}  // namespace
}  // namespace quarn::test
