#include <quarn/SimpleLog.h>

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

namespace quarn {
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

TEST(SimpleLogTest, FormatsRecords) {
    SimpleLog log;
    EXPECT_EQ(Next(log), "none");
    log.Start();
    log.Print("%d %5d|%u|%X|%lX|%05lu|%c|%6s|%%|%p", -1, -12, 0xFFFFFFFFu, 0xABu, ~0ul, 7ul, 'c', "str",
              reinterpret_cast<void*>(0xAB));
    EXPECT_TRUE(log.Out('!'));
    EXPECT_EQ(Next(log), "none");
    EXPECT_TRUE(log.Finish());
    EXPECT_EQ(Next(log), "0:-1   -12|4294967295|AB|FFFFFFFFFFFFFFFF|00007|c|   str|%|0xab!");
    EXPECT_EQ(Next(log), "none");

    const struct {
        int64_t value;
        uint32_t width;
        uint32_t flags;
        const char* text;
    } numbers[] = {
        {0, 0, 0, "0"},
        {INT64_MIN, 0, 0, "-9223372036854775808"},
        {-255, 6, SimpleLog::HEXADECIMAL, "   -FF"},
        {-255, 6, SimpleLog::HEXADECIMAL | SimpleLog::ZERO_PADDED, "-000FF"},
        {-1, 0, SimpleLog::UNSIGNED, "18446744073709551615"},
        {-1, 0, SimpleLog::UNSIGNED | SimpleLog::HEXADECIMAL, "FFFFFFFFFFFFFFFF"},
    };
    uint32_t number = 0;
    for (const auto& n : numbers) {
        log.Start();
        log.PrintNumeric(n.value, n.width, n.flags);
        log.Finish();
        EXPECT_EQ(Next(log), std::to_string(++number) + ":" + n.text);
    }
}

TEST(SimpleLogTest, DropsWholeRecordsThatDoNotFit) {
    constexpr size_t LONGEST = 16384 - 1 - 4 - 1;  // a free byte, the number, the end
    SimpleLog log;
    EXPECT_FALSE(Log(log, std::string(LONGEST + 1, 'x')));
    EXPECT_EQ(Next(log), "none");
    EXPECT_TRUE(Log(log, std::string(LONGEST, 'y')));
    EXPECT_FALSE(Log(log, ""));
    log.Start();
    EXPECT_FALSE(log.Out('z'));
    EXPECT_EQ(Next(log), "1:" + std::string(LONGEST, 'y'));
    // What was lost stays lost, although there is room again.
    EXPECT_FALSE(log.Out('z'));
    EXPECT_FALSE(log.Finish());
    log.Start();
    log.Print("never finished");
    EXPECT_TRUE(Log(log, "next"));
    EXPECT_EQ(Next(log), "5:next");
    EXPECT_EQ(Next(log), "none");
    // A character 0 would end the record early and take what follows for another one.
    log.Start();
    EXPECT_TRUE(log.Out('\0'));
    log.Print("a%cb", '\0');
    log.Finish();
    EXPECT_EQ(Next(log), "6:ab");
}

TEST(SimpleLogTest, TakesNothingOutsideOfARecord) {
    SimpleLog log;
    EXPECT_FALSE(log.Out('x'));
    EXPECT_FALSE(log.Finish());
    EXPECT_TRUE(Log(log, "only"));
    log.Print("after the end");
    EXPECT_FALSE(log.Finish());
    EXPECT_EQ(Next(log), "0:only");
    EXPECT_EQ(Next(log), "none");
}

TEST(SimpleLogTest, KeepsRecordsWholeAcrossTheEndOfTheRing) {
    SimpleLog log;
    uint32_t written = 0;
    uint32_t read = 0;
    for (uint32_t round = 0; round < 100; ++round) {
        while (Log(log, std::string(written % 700, static_cast<char>('a' + written % 26))))
            ++written;
        // The record that was dropped used up a number.
        for (; read < written; ++read)
            ASSERT_EQ(Next(log), std::to_string(read + round) + ":" +
                                     std::string(read % 700, static_cast<char>('a' + read % 26)));
    }
    EXPECT_GT(written, 1000u);
}

TEST(SimpleLogTest, ServesReadersWhileItIsWritten) {
    constexpr uint32_t RECORDS = 20000;
    SimpleLog log;
    std::atomic<bool> ended{false};
    std::vector<std::set<uint32_t>> seen(2);
    std::vector<std::thread> readers;
    for (auto& numbers : seen)
        readers.emplace_back([&log, &ended, &numbers] {
            std::string text;
            uint32_t number;
            for (bool last = false; !last;) {
                last = ended;
                while (log.Get(text, number)) {
                    EXPECT_EQ(text, "record " + std::to_string(number));
                    EXPECT_TRUE(numbers.empty() || *numbers.rbegin() < number);
                    numbers.insert(number);
                }
            }
        });
    uint32_t kept = 0;
    for (uint32_t i = 0; i < RECORDS; ++i) {
        log.Start();
        log.Print("record %u", i);
        kept += log.Finish();
    }
    ended = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(seen[0].size() + seen[1].size(), kept);
    seen[0].merge(seen[1]);
    EXPECT_EQ(seen[0].size(), kept);
}

}  // namespace
}  // namespace quarn
