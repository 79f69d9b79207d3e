#include <quarn/MemoryHelpers.h>
#include <quarn/MemoryMapping.h>
#include <quarn/RegisterAccess.h>

#include "board/ConfiguredBoard.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quarn::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Words of memory that the kernel does not use, in two pages.
constexpr uint64_t kFirst = 0x1F003FF8;
constexpr uint64_t kSecond = 0x1F004004;

TEST(RegisterBoardTest, ReachesFieldsOfTwoPagesFromProgramAndConsole) {
    WritePhysical(kFirst, 0xFFFFFF0F);
    WritePhysical(kSecond, 0x12345678);
    RegisterAccess registers;
    ConfiguredBoard board({&registers},
                          "[reg]\n"
                          "0x1F003FF8 7:4 rw rf.gain gain\n"
                          "0x1F004004 31:16 r rf.state\n"
                          "0x1F004004 15:0 w rf.reset\n"
                          "0x1F003FF8 - - rf.spare\n");
    EXPECT_THAT(board.Complaints(), IsEmpty());
    EXPECT_THAT(board.Run("reg gain 0xA"), IsEmpty());
    EXPECT_EQ(ReadPhysical(kFirst), 0xFFFFFFAFu);
    registers.Set("rf.reset", 0xBEEF);
    EXPECT_EQ(ReadPhysical(kSecond), 0x1234BEEFu);
    WritePhysical(kSecond, 0x4321ABCD);
    EXPECT_EQ(registers.Get("rf.state"), 0x4321u);
    EXPECT_THAT(board.Run("reg list"), ElementsAre("name      address     bits   value   aliases  ",
                                                   "rf.gain   0x1F003FF8  7:4    0xA     gain     ",
                                                   "rf.state  0x1F004004  31:16  0x4321           ",
                                                   "rf.reset  0x1F004004  15:0                    ",
                                                   "rf.spare  0x1F003FF8  -                       "));
}

TEST(RegisterBoardTest, OrdinaryMemoryIsOutOfReach) {
    RegisterAccess registers;
    const ConfiguredBoard board({&registers}, "[reg]\n0x10000004 7:0 rw kernel\n0x1F003FF8 7:0 rw fine\n");
    EXPECT_THAT(board.Complaints(), ElementsAre("board.conf:2: REG: Could not map page "
                                                "[0x0x10000000..0x0x10001000): Operation not permitted"));
    registers.Set("fine", 1);
    EXPECT_EQ(ThrownMessage([&] { registers.Get("kernel"); }), "REG: unknown register \"kernel\"");
    EXPECT_EQ(ThrownMessage([] { const MemoryMapping mapping(0x10000004, 4); }),
              "mmap failed on physical range [0x10000000..0x10000fff): Operation not permitted");
}

TEST(RegisterBoardTest, ClearsAndCopiesDeviceMemoryAtAnyAddress) {
    const uint64_t page = kFirst & ~0xFFFull;
    for (const uint64_t word : {page - 4, page, page + 4092, page + 4096})
        WritePhysical(word, 0xFFFFFFFF);
    MemoryMapping mapping(page + 3, 13);
    auto* const bytes = static_cast<volatile uint8_t*>(mapping.VolatilePtr());
    quarn_memcpy(bytes, "0123456789abc", 13);
    EXPECT_EQ(ReadPhysical(page), 0x30FFFFFFu);
    EXPECT_EQ(ReadPhysical(page + 12), 0x63626139u);
    quarn_memclr(bytes + 2, 9);
    char copied[14] = {};
    quarn_memcpy(copied, bytes, 13);
    EXPECT_EQ(std::string(copied, 13), std::string("01\0\0\0\0\0\0\0\0\0bc", 13));
    mapping.Zero();
    EXPECT_EQ(ReadPhysical(page), 0u);
    EXPECT_EQ(ReadPhysical(page + 4092), 0u);
    EXPECT_EQ(ReadPhysical(page - 4), 0xFFFFFFFFu);
    EXPECT_EQ(ReadPhysical(page + 4096), 0xFFFFFFFFu);
}

}  // namespace
}  // namespace quarn::test
