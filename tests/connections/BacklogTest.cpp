#include "connections/Backlog.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace quarn {
namespace {

std::string Contents(const Backlog& backlog) {
    return {backlog.Data(), backlog.Data() + backlog.Size()};
}

TEST(Backlog, HoldsWhatWasAppendedLessWhatWasConsumed) {
    std::mt19937 random(1);
    const auto upTo = [&random](size_t limit) { return random() % (limit + 1); };
    Backlog backlog;
    std::string expected;
    for (int step = 0; step < 4000; ++step) {
        std::string piece(upTo(step % 100 == 0 ? 200000 : 300), '\0');
        for (char& c : piece)
            c = static_cast<char>(random());
        backlog.Append(piece.data(), piece.size());
        expected += piece;
        const size_t consumed =
            step % 50 == 0 ? expected.size() : upTo(std::min<size_t>(expected.size(), 700));
        backlog.Consume(consumed);
        expected.erase(0, consumed);
        ASSERT_TRUE(Contents(backlog) == expected) << step;
        ASSERT_EQ(backlog.Empty(), expected.empty());
    }
}

TEST(Backlog, NeitherGrowsInSteadyUseNorKeepsTheMemoryOfABurst) {
    Backlog backlog;
    const std::string piece(1000, 'p');
    backlog.Append("tail", 4);
    size_t settled = 0;
    for (int step = 0; step < 10000; ++step) {  // ten megabytes through a backlog that is never empty
        backlog.Append(piece.data(), piece.size());
        backlog.Consume(piece.size());
        if (step == 10)
            settled = backlog.Capacity();
    }
    EXPECT_EQ(backlog.Capacity(), settled);
    EXPECT_LE(settled, 4 * piece.size());

    const std::string burst(1 << 20, 'b');
    backlog.Append(burst.data(), burst.size());
    EXPECT_LE(backlog.Capacity(), 4 * burst.size());
    backlog.Consume(burst.size());
    EXPECT_EQ(Contents(backlog), "bbbb");
    EXPECT_LE(backlog.Capacity(), Backlog::KEPT_BYTES);
    backlog.Append(burst.data(), burst.size());
    backlog.Clear();
    EXPECT_LE(backlog.Capacity(), Backlog::KEPT_BYTES);
}

}  // namespace
}  // namespace quarn
