#include <quarn/RegisterAccess.h>

#include "devices/DeviceTest.h"

namespace quarn::test {
namespace {

class RegisterAccessTest : public AccessorFixture {
protected:
    RegisterAccessTest() : AccessorFixture("reg", "reg") {
        board_.AddMemory(0x1000, 0x2000);
        board_.AddMemory(0xA0000000, 0x2000);
        board_.TakeAccesses();
    }

    Accessor& Tested() override { return registers_; }

    RegisterAccess registers_{board_};
};

TEST_F(RegisterAccessTest, ReadsAndWritesFieldsWithSingleAccesses) {
    const struct {
        std::string bits;
        uint32_t mask, value, inPlace;
    } cases[] = {
        {"31:0", 0xFFFFFFFF, 0x89ABCDEF, 0x89ABCDEF},
        {"7", 0x00000080, 1, 0x80},
        {"31:28", 0xF0000000, 0xA, 0xA0000000},
        {"11:4", 0x00000FF0, 0x5A, 0x5A0},
    };
    for (const auto& c : cases) {
        AddAll({"0xA0001004 " + c.bits + " rw f" + c.bits + " alias" + c.bits});
        for (const uint32_t others : {0u, 0xFFFFFFFFu}) {
            board_.SetWord(0xA0001004, others);
            registers_.Set("f" + c.bits, c.value);
            EXPECT_THAT(board_.TakeAccesses(),
                        ElementsAre("r 0xA0001004", testing::StartsWith("w 0xA0001004 ")));
            EXPECT_EQ(board_.Word(0xA0001004), (others & ~c.mask) | c.inPlace) << c.bits;
            EXPECT_EQ(registers_.Get("alias" + c.bits), c.value) << c.bits;
            EXPECT_THAT(board_.TakeAccesses(), ElementsAre("r 0xA0001004"));
        }
    }
    EXPECT_EQ(registers_.Address("alias7"), 0xA0001004u);
}

TEST_F(RegisterAccessTest, RefusesWhatAFieldCannotDoWithoutTouchingIt) {
    AddAll({"0x1000 3:0 r status", "0x1000 7:4 w control", "0x1000 - - spare s", "0x1000 11:8 rw mode",
            "0x1000 31:28 w top"});
    board_.SetWord(0x1000, 0xFFFFFFFF);
    ExpectFailures({{"status 1", "REG: field \"status\" is not writable"},
                    {"s 1", "REG: field \"spare\" is not writable"},
                    {"mode 0x10", "REG: value 0x10 will not fit in 4-bit field"},
                    {"nothing 1x", "REG: bad value"},
                    {"nothing 1", "REG: unknown register \"nothing\""},
                    {"list mode 1", "REG: too many words in command"}});
    EXPECT_EQ(ThrownMessage([&] { registers_.Get("control"); }), "REG: field \"control\" is not readable");
    EXPECT_EQ(ThrownMessage([&] { registers_.Get("s"); }), "REG: field \"spare\" is not readable");
    EXPECT_THAT(board_.TakeAccesses(), IsEmpty());
    // What is shifted out at the top is not missed.
    EXPECT_THAT(Run("top 0x10"), IsEmpty());
    EXPECT_THAT(board_.TakeAccesses(), ElementsAre("r 0x1000", "w 0x1000 0xFFFFFFF"));
}

TEST_F(RegisterAccessTest, MapsEachPageOnceAndUnmapsIt) {
    DebugCapture debug(DEBUG_ERR);
    {
        RegisterAccess registers(board_);
        for (const char* line : {"0xA0000FFC 0 r last", "0xA0000000 31:0 r first", "0xA0002000 - - unmapped"})
            EXPECT_EQ(AddTo(registers, line), kNothingThrown);
        EXPECT_EQ(board_.Held(), 1u);  // no descriptors
        board_.SetWord(0xA0000FFC, 1);
        EXPECT_EQ(registers.Get("last"), 1u);
        board_.Fail(Call::UNMAP, EINVAL);
    }
    EXPECT_THAT(debug.Lines(), ElementsAre("REG: munmap failed: Invalid argument"));
}

TEST_F(RegisterAccessTest, KeepsNothingOfADefectiveLine) {
    AddAll({"0x1000 0 rw taken other"});
    ExpectRefused({
        {"x y", "REG: too few fields"},
        {"0x1000000Z y z", "REG: bad address"},
        {"0x1000 x z f", "REG: bad bit range"},
        {"0x1000 32:0 r f", "REG: bad bit range"},
        {"0x1000 0:1 r f", "REG: bad bit range"},
        {"0x1000 4294967296:0 r f", "REG: bad bit range"},
        {"0x1000 1:0 - f", "REG: direction must be 'r', 'w', or 'rw'"},
        {"0x1000 - rw f", "REG: if bit range is '-', direction must be '-'"},
        {"0x2002 0 rw f other taken", "REG: Attempt to add duplicate name \"other\""},
        {"0x2000 - - f g f", "REG: Attempt to add duplicate name \"f\""},
        {"0x2002 - - f", "REG: Register at unaligned address 0x0x2002"},
    });
    board_.Fail(Call::OPEN, EACCES);
    EXPECT_EQ(Add("0x2004 0 rw f"), "REG: Could not open /dev/mem: Permission denied");
    board_.Fail(Call::MAP, EPERM);
    EXPECT_EQ(Add("0x2004 0 rw f"), "REG: Could not map page [0x0x2000..0x0x3000): Operation not permitted");
    EXPECT_EQ(board_.Held(), 1u);  // the page of the first one
    EXPECT_THAT(Run("f"), ElementsAre("REG: no matching registers"));
    AddAll({"0x2004 0 rw f"});
}

TEST_F(RegisterAccessTest, ListsAndExplains) {
    AddAll({"0x1004 31:20 r zeta", "0x1000 7 rw alpha a first", "0x1008 3:0 r", "0x1000 3:0 w go",
            "4096 - - spare a2"});
    board_.SetWord(0x1000, 0x8F);
    board_.SetWord(0x1004, 0x05C00000);
    EXPECT_THAT(Run("list"), ElementsAre("name   address  bits   value  aliases   ",  //
                                         "zeta   0x1004   31:20  0x05C            ",  //
                                         "alpha  0x1000   7      0x1    a, first  ",  //
                                         "go     0x1000   3:0                     ",  //
                                         "spare  0x1000   -             a2        "));
    // Only what can be read and is listed is read.
    EXPECT_THAT(board_.TakeAccesses(), ElementsAre("r 0x1004", "r 0x1000"));
    EXPECT_THAT(Run("a*"), ElementsAre("name   value  aliases   ",  //
                                       "alpha  0x1    a, first  ",  //
                                       "spare         a2        "));
    EXPECT_THAT(Run("first"), ElementsAre("name   value  aliases   ", "alpha  0x1    a, first  "));
    EXPECT_THAT(Run("list A*"), ElementsAre("REG: no matching registers"));
    EXPECT_THAT(registers_.Execute("rg", {}),
                testing::Contains("rg list <pattern>  list specified fields(s)"));
}

}  // namespace
}  // namespace quarn::test
