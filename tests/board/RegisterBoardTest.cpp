#include <quarn/MemoryHelpers.h>
#include <quarn/MemoryMapping.h>
#include <quarn/RegisterAccess.h>

#include "board/ConfiguredBoard.h"

namespace quarn::test {
namespace {

// Words of memory that the kernel does not use, in two pages.
constexpr uint64_t kFirst = 0x1F003FF8;
constexpr uint64_t kSecond = 0x1F004004;

TEST(RegisterBoardTest, ReachesFieldsOfTwoPagesAndNoOrdinaryMemory) {
    Physical(kFirst) = 0xFFFFFF0F;
    Physical(kSecond) = 0x12345678;
    RegisterAccess registers;
    ConfiguredBoard board({&registers},
                          "[reg]\n"
                          "0x1F003FF8 7:4 rw rf.gain gain\n"
                          "0x10000004 7:0 rw kernel\n"
                          "0x1F004004 31:16 r rf.state\n"
                          "0x1F004004 15:0 w rf.reset\n");
    EXPECT_THAT(board.Complaints(), ElementsAre("board.conf:3: REG: Could not map page "
                                                "[0x0x10000000..0x0x10001000): Operation not permitted"));
    EXPECT_THAT(board.Run("reg gain 0xA"), IsEmpty());
    EXPECT_EQ(Physical(kFirst), 0xFFFFFFAFu);
    registers.Set("rf.reset", 0xBEEF);
    EXPECT_EQ(Physical(kSecond), 0x1234BEEFu);
    EXPECT_EQ(registers.Get("rf.state"), 0x1234u);
    EXPECT_EQ(ThrownMessage([] { const MemoryMapping mapping(0x10000004, 4); }),
              "mmap failed on physical range [0x10000000..0x10000fff): Operation not permitted");
}

TEST(RegisterBoardTest, ClearsAndCopiesDeviceMemoryAtAnyAddress) {
    const uint64_t page = kFirst & ~0xFFFull;
    for (const uint64_t word : {page, page + 4092, page + 4096})
        Physical(word) = 0xFFFFFFFF;
    MemoryMapping mapping(page + 3, 13);
    auto* const bytes = static_cast<volatile uint8_t*>(mapping.VolatilePtr());
    quarn_memcpy(bytes, "0123456789abc", 13);
    EXPECT_EQ(Physical(page), 0x30FFFFFFu);
    EXPECT_EQ(Physical(page + 12), 0x63626139u);
    quarn_memclr(bytes + 2, 9);
    char copied[14] = {};
    quarn_memcpy(copied, bytes, 13);
    EXPECT_EQ(std::string(copied, 13), std::string("01\0\0\0\0\0\0\0\0\0bc", 13));
    mapping.Zero();
    EXPECT_EQ(Physical(page + 4092), 0u);
    EXPECT_EQ(Physical(page + 4096), 0xFFFFFFFFu);
}

}  // namespace
}  // namespace quarn::test
