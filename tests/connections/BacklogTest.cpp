#include "connections/Backlog.h"

#include <gtest/gtest.h>

#include <string>

namespace quarn {

TEST(Backlog, NeitherGrowsInSteadyUseNorKeepsTheMemoryOfABurst) {
    Backlog backlog;
    const std::string piece(1000, 'p'), burst(1 << 20, 'b');
    backlog.Append("tail", 4);
    for (int step = 0; step < 10000; ++step) {  // ten megabytes through a backlog that is never empty
        backlog.Append(piece.data(), piece.size());
        backlog.Consume(piece.size());
    }
    EXPECT_LE(backlog.Capacity(), 4 * piece.size());
    backlog.Append(burst.data(), burst.size());
    backlog.Consume(burst.size());
    EXPECT_EQ(std::string(backlog.Data(), backlog.Data() + backlog.Size()), "bbbb");
    EXPECT_LE(backlog.Capacity(), Backlog::kKeptBytes);
}

}  // namespace quarn
