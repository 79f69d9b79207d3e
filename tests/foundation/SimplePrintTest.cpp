#include "foundation/FoundationTest.h"

namespace quarn::test {
namespace {

#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // some arguments do not fit, on purpose

template <class... Arguments>
void ExpectLikePrintf(const char* format, Arguments... arguments) {
    char text[200];
    const size_t length = SimplePrint::Print(text, sizeof(text), format, arguments...);
    EXPECT_EQ(std::string(text, length), Format(format, arguments...));
}

TEST(SimplePrintTest, ConvertsAsPrintfDoes) {
    ExpectLikePrintf("plain %% %d %i %u %x %X %d", INT_MIN, INT_MAX, UINT_MAX, 0xABCDEFu, 0xABCDEFu, 0);
    ExpectLikePrintf("%hhd %hhu %hd %hu %08hhx %hX", -1, 0x1FF, -2, 0x1FFFF, -1, -1);
    ExpectLikePrintf("%ld %lu %lld %llX %zu %zd", LONG_MIN, ULONG_MAX, LLONG_MIN, ULLONG_MAX, SIZE_MAX,
                     ssize_t{-5});
    ExpectLikePrintf("[%5d][%05d][%5d][%05d][%1d][%010u]", 42, 42, -42, -42, 123456, 7u);
    ExpectLikePrintf("[%c][%3c][%6s][%2s][%s]", 'a', 'b', "abc", "abc", "");
    const char* volatile null = nullptr;
    ExpectLikePrintf("[%20p][%8s][%8p]", reinterpret_cast<void*>(0xDEADBEEF12), null,
                     static_cast<const void*>(null));
}

TEST(SimplePrintTest, StaysInsideTheBuffer) {
    for (const size_t size : {0, 1, 6, 7, 8}) {
        char buffer[] = "########";
        const std::string text = std::string("abcdef").substr(0, size == 0 ? 0 : size - 1);
        EXPECT_EQ(SimplePrint::Print(buffer, size, "%s", "abcdef"), text.size());
        EXPECT_EQ(std::string(buffer, 8), (text + std::string(size != 0, '\0') + "########").substr(0, 8));
    }
    char buffer[64];
    EXPECT_EQ(SimplePrint::Print(buffer, sizeof(buffer), "%999999999d", 1), 63u);
    // An unknown conversion and all that is behind it stay as they are.
    SimplePrint::Print(buffer, sizeof(buffer), "%d %.3d %s %d", 1, 2, "three", 4);
    EXPECT_STREQ(buffer, "1 %.3d %s %d");
}

}  // namespace
}  // namespace quarn::test
