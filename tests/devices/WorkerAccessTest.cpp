#include <quarn/Accessors.h>
#include <quarn/Worker.h>
#include <quarn/WorkerAccess.h>

#include "support/Eventually.h"
#include "workers/ScriptedWorker.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace quarn {
namespace {

using Lines = std::list<std::string>;

TEST(WorkerAccessTest, ShowsAndClears) {
    test::ScriptedWorker first("rx-a"), second("rx-b"), other("tx");
    first.Start();
    first.Wake();
    WorkerAccess access;
    Accessors accessors;
    accessors.Add(access);
    const auto count = [](const Lines& lines, const char* start) {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return line.starts_with(start); });
    };

    Lines summary;
    EXPECT_TRUE(test::Eventually([&] {  // a run counts when it is over
        summary = accessors.Execute("mon summary");
        return count(summary, "rx-a  running      1") == 1;
    }));
    EXPECT_EQ(count(summary, "tx    not started  0"), 1);
    EXPECT_EQ(*std::next(summary.rbegin()), "(*) since last 'mon clear'");

    Lines stats = accessors.Execute("mon stats rx*");
    EXPECT_EQ(stats.front(), "Worker rx-a: running, 1 work calls");
    EXPECT_EQ(count(stats, "Worker rx-b: not started"), 1);
    EXPECT_EQ(count(stats, "Worker tx"), 0);
    EXPECT_EQ(count(accessors.Execute("mon stats"), "Worker tx"), 1);
    EXPECT_EQ(first.extras, 2);  // shown twice

    EXPECT_EQ(accessors.Execute("mon clear"), Lines{"\x04"});
    EXPECT_EQ(accessors.Execute("mon stats rx-a").front(), "Worker rx-a: running, 0 work calls");
    EXPECT_EQ(accessors.Execute("mon stats RX*"), (Lines{"MON: no worker matches \"RX*\"", "\x04"}));
    EXPECT_EQ(accessors.Execute("mon stats a b"),
              (Lines{"\"mon stats\" command requires 0 or 1 arguments", "\x04"}));
    EXPECT_EQ(accessors.Execute("mon"),
              (Lines{"mon summary            lists all workers",
                     "    stats [<pattern>]  shows statistics of all or matching workers",
                     "    clear              clears the statistics of all workers", "\x04"}));
    first.Stop();
}

}  // namespace
}  // namespace quarn
