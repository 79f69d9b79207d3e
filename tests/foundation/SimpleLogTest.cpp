#include <quarn/SimpleLog.h>

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

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

TEST(SimpleLogTest, FormatsRecords) {
    SimpleLog log;
    // Nothing is taken outside of a record.
    EXPECT_FALSE(log.Out('x') || log.Finish());
    EXPECT_EQ(Next(log), "none");
    log.Start();
    log.Print("%d %5d|%u|%X|%lX|%05lu|%c|%6s|%%|%p", -1, -12, 0xFFFFFFFFu, 0xABu, ~0ul, 7ul, 'c', "str",
              reinterpret_cast<void*>(0xAB));
    EXPECT_TRUE(log.Out('!'));
    EXPECT_EQ(Next(log), "none");
    EXPECT_TRUE(log.Finish());
    log.Print("after the end");
    EXPECT_FALSE(log.Finish());
    EXPECT_EQ(Next(log), "0:-1   -12|4294967295|AB|FFFFFFFFFFFFFFFF|00007|c|   str|%|0xab!");
    EXPECT_EQ(Next(log), "none");

    const std::tuple<int64_t, uint32_t, uint32_t, const char*> numbers[] = {
        {0, 0, 0, "0"},
        {INT64_MIN, 0, 0, "-9223372036854775808"},
        {-255, 6, SimpleLog::HEXADECIMAL | SimpleLog::ZERO_PADDED, "-000FF"},
        {-1, 0, SimpleLog::UNSIGNED, "18446744073709551615"},
    };
    uint32_t number = 0;
    for (const auto& [value, width, flags, text] : numbers) {
        log.Start();
        log.PrintNumeric(value, width, flags);
        log.Finish();
        EXPECT_EQ(Next(log), std::to_string(++number) + ":" + text);
    }
}

TEST(SimpleLogTest, DropsWholeRecordsThatDoNotFit) {
    constexpr size_t kLongest = 16384 - 1 - 4 - 1;  // a free byte, the number, the end
    SimpleLog log;
    EXPECT_FALSE(Log(log, std::string(kLongest + 1, 'x')));
    EXPECT_EQ(Next(log), "none");
    EXPECT_TRUE(Log(log, std::string(kLongest, 'y')));
    EXPECT_FALSE(Log(log, ""));
    log.Start();
    EXPECT_FALSE(log.Out('z'));
    EXPECT_EQ(Next(log), "1:" + std::string(kLongest, 'y'));
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

TEST(SimpleLogTest, ServesReadersWhileItIsWritten) {
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
    for (uint32_t i = 0; i < 20000; ++i) {
        log.Start();
        log.Print("record %u", i);
        kept += log.Finish();
    }
    ended = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(seen[0].size() + seen[1].size(), kept);
    seen[0].merge(seen[1]);
    EXPECT_EQ(seen[0].size(), kept);  // none was served twice
}

}  // namespace
}  // namespace quarn::test
