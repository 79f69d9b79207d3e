#include "foundation/FoundationTest.h"

#include <set>
#include <thread>

namespace quarn::test {
namespace {

bool Log(SimpleLog& log, const std::string& text) {
    log.Start();
    log.Print("%s", text.c_str());
    return log.Finish();
}

// The next record as its number and text.
std::string Next(SimpleLog& log) {
    std::string text;
    uint32_t number = 0;
    return log.Get(text, number) ? std::to_string(number) + ":" + text : "none";
}

TEST(SimpleLogTest, TakesWhatIsWithinARecord) {
    SimpleLog log;
    EXPECT_FALSE(log.Out('x') || log.Finish());
    log.Start();
    log.Print("%5d|", -12);
    log.PrintNumeric(INT64_MIN, 0, 0);
    EXPECT_TRUE(log.Out('|'));
    log.PrintNumeric(-255, 6, SimpleLog::HEXADECIMAL | SimpleLog::ZERO_PADDED);
    // A character 0 would end the record early and take what follows for another one.
    EXPECT_TRUE(log.Out('\0'));
    log.Print("%c|", '\0');
    log.PrintNumeric(-1, 0, SimpleLog::UNSIGNED);
    EXPECT_EQ(Next(log), "none");
    EXPECT_TRUE(log.Finish());
    log.Print("after the end");
    EXPECT_FALSE(log.Finish());
    EXPECT_EQ(Next(log), "0:  -12|-9223372036854775808|-000FF|18446744073709551615");
    EXPECT_EQ(Next(log), "none");
}

TEST(SimpleLogTest, DropsWholeRecordsThatDoNotFit) {
    constexpr size_t kLongest = 16384 - 1 - 4 - 1;  // a free byte, the number, the end
    SimpleLog log;
    EXPECT_FALSE(Log(log, std::string(kLongest + 1, 'x')));
    EXPECT_TRUE(Log(log, std::string(kLongest, 'y')));
    EXPECT_FALSE(Log(log, ""));
    log.Start();
    EXPECT_EQ(Next(log), "1:" + std::string(kLongest, 'y'));
    // What was lost stays lost, although there is room again.
    EXPECT_FALSE(log.Out('z') || log.Finish());
    log.Start();
    log.Print("never finished");
    EXPECT_TRUE(Log(log, "next"));
    EXPECT_EQ(Next(log), "5:next");
    EXPECT_EQ(Next(log), "none");
}

TEST(SimpleLogTest, ServesEachRecordOnceWhileItIsWritten) {
    SimpleLog log;
    std::atomic<bool> ended{false};
    std::vector<uint32_t> seen[2];
    const auto read = [&](std::vector<uint32_t>* numbers) {
        std::string text;
        uint32_t number = 0;
        for (bool last = false; !last;)
            for (last = ended; log.Get(text, number); numbers->push_back(number))
                EXPECT_EQ(text, "record " + std::to_string(number));
    };
    std::thread first(read, &seen[0]), second(read, &seen[1]);
    size_t kept = 0;
    for (uint32_t i = 0; i < 20000; ++i)
        kept += Log(log, "record " + std::to_string(i));
    ended = true;
    first.join();
    second.join();
    std::set<uint32_t> all(seen[0].begin(), seen[0].end());
    all.insert(seen[1].begin(), seen[1].end());
    EXPECT_EQ(std::make_pair(all.size(), seen[0].size() + seen[1].size()), std::make_pair(kept, kept));
    EXPECT_TRUE(std::ranges::is_sorted(seen[0]) && std::ranges::is_sorted(seen[1]));
}

}  // namespace
}  // namespace quarn::test
