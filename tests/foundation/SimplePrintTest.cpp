#include <quarn/SimplePrint.h>

#include <gtest/gtest.h>

#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <string>

namespace quarn::test {
namespace {

QUARN_PRINTF(1, 2) void ExpectLikePrintf(const char* format, ...) {
    va_list arguments;
    va_list again;
    va_start(arguments, format);
    va_copy(again, arguments);
    char expected[200];
    char actual[sizeof(expected)];
    const int length = vsnprintf(expected, sizeof(expected), format, arguments);
    EXPECT_EQ(SimplePrint::Printv(actual, sizeof(actual), format, again), static_cast<size_t>(length));
    EXPECT_STREQ(actual, expected) << format;
    va_end(again);
    va_end(arguments);
}

TEST(SimplePrintTest, ConvertsAsPrintfDoes) {
    ExpectLikePrintf("plain %% %d %i %u %x %X", INT_MIN, INT_MAX, UINT_MAX, 0xABCDEFu, 0xABCDEFu);
    ExpectLikePrintf("%d %u %x %ld", 0, 0u, 0u, 0L);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"  // the arguments do not fit on purpose
    ExpectLikePrintf("%hhd %hhu %hd %hu %08hhx %hX", -1, 0x1FF, -2, 0x1FFFF, -1, -1);
#pragma GCC diagnostic pop
    ExpectLikePrintf("%ld %lu %lld %llu %zu %zd %lx %llX", LONG_MIN, ULONG_MAX, LLONG_MIN, ULLONG_MAX,
                     SIZE_MAX, ssize_t{-5}, ULONG_MAX, ULLONG_MAX);
    ExpectLikePrintf("[%5d][%05d][%5d][%05d][%1d][%010u]", 42, 42, -42, -42, 123456, 7u);
    ExpectLikePrintf("[%016lX][%8x][%c][%3c]", 0xDEADBEEFul, 0xBEu, 'a', 'b');
    ExpectLikePrintf("[%s][%6s][%2s][%s]", "abc", "abc", "abc", "");
    ExpectLikePrintf("[%p][%20p]", reinterpret_cast<void*>(0xDEADBEEF12), reinterpret_cast<void*>(0x1000));
    const char* volatile null = nullptr;
    ExpectLikePrintf("[%s][%8s][%p][%8p]", null, null, static_cast<const void*>(null),
                     static_cast<const void*>(null));
}

TEST(SimplePrintTest, StaysInsideTheBuffer) {
    const std::pair<size_t, std::string> cases[] = {{0, "########"},
                                                    {1, std::string("\0#######", 8)},
                                                    {6, std::string("abcde\0##", 8)},
                                                    {7, std::string("abcdef\0#", 8)},
                                                    {8, std::string("abcdef\0#", 8)}};
    for (const auto& [size, text] : cases) {
        char buffer[] = "########";
        const size_t length = SimplePrint::Print(buffer, size, "%s", "abcdef");
        EXPECT_EQ(length, size == 0 ? 0 : strlen(buffer)) << size;
        EXPECT_EQ(std::string(buffer, 8), text) << size;
    }
    char buffer[8];
    EXPECT_EQ(SimplePrint::Print(buffer, sizeof(buffer), "%999999999d", 1), 7u);
    EXPECT_STREQ(buffer, "       ");
}

TEST(SimplePrintTest, LeavesTheFormatFromAnUnknownConversionOn) {
    char text[64];
    SimplePrint::Print(text, sizeof(text), "%d %.3d %s %d", 1, 2, "three", 4);
    EXPECT_STREQ(text, "1 %.3d %s %d");
    SimplePrint::Print(text, sizeof(text), "%d %ls!", 1, L"wide");
    EXPECT_STREQ(text, "1 %ls!");
}

}  // namespace
}  // namespace quarn::test
