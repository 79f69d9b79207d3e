#include <quarn/GPIODirectAccess.h>

#include "devices/DeviceTest.h"

#include <optional>

namespace quarn::test {
namespace {

class GPIODirectAccessTest : public AccessorFixture {
protected:
    GPIODirectAccessTest() : AccessorFixture("pins", "gpio") {
        board_.AddGPIOChip("main", 32);
        board_.AddGPIOChip("aux", 8);
        gpio_.emplace("pins", "gpio", board_);
    }

    Accessor& Tested() override { return *gpio_; }
    /// The levels of the lines as binary digits.
    std::string Levels(std::initializer_list<uint32_t> offsets) {
        std::string levels;
        for (const uint32_t offset : offsets)
            levels += board_.LineLevel("main", offset) ? '1' : '0';
        return levels;
    }

    std::optional<GPIODirectAccess> gpio_;
};

TEST_F(GPIODirectAccessTest, TakesTheFirstOffsetAsTheMostSignificantBit) {
    DebugCapture debug;
    AddAll({"main 7:4 0x9 down", "main 8:10,3 1 mixed", "main 1:0 0x15 wide", "main 15:12 in inputs"});
    EXPECT_THAT(debug.Lines(),
                ElementsAre("GPIO: initial value 0x15 of 2-bit signal wide is cut to its width"));
    EXPECT_EQ(Levels({7, 6, 5, 4, 8, 9, 10, 3, 1, 0}), "1001000101");
    gpio_->Set("down", 0xC);
    gpio_->Set("mixed", 0xA);
    EXPECT_EQ(Levels({7, 6, 5, 4, 8, 9, 10, 3}), "11001010");
    EXPECT_EQ(gpio_->Get("mixed"), 0xAu);
    board_.DriveLine("main", 15, true);
    EXPECT_EQ(gpio_->Get("inputs"), 8u);
}

TEST_F(GPIODirectAccessTest, HoldsUpTo32LinesAndGivesAllBack) {
    AddAll({"main 30:0 1 most", "aux 1 bi other"});
    EXPECT_EQ(Failure("most 0x80000000"), "GPIO: cannot set 31-bit signal most to 0x2147483648");
    gpio_->Set("most", 0x7FFFFFFF);
    EXPECT_EQ(gpio_->Get("most"), 0x7FFFFFFFu);
    EXPECT_EQ(board_.Held(), 34u);  // 32 lines and two chips
    gpio_.reset();
    EXPECT_EQ(board_.Held(), 0u);
    EXPECT_FALSE(board_.LineIsOutput("main", 0));

    gpio_.emplace("pins", "gpio", board_);
    AddAll({"main 31:0 0x80000001 all"});
    EXPECT_EQ(gpio_->Get("all"), 0x80000001u);
    EXPECT_THAT(Run("all 0xFFFFFFFF"), ElementsAre("all set to -1"));
    EXPECT_THAT(Run("all"), ElementsAre("name  dir    value       ", "all   out    0xFFFFFFFF  "));
}

TEST_F(GPIODirectAccessTest, DrivesABidirectionalGroupFromSettingToReading) {
    AddAll({"main 1:0 bi both b", "main 2 in in"});
    board_.DriveLine("main", 0, true);
    EXPECT_FALSE(board_.LineIsOutput("main", 1));
    EXPECT_EQ(gpio_->Get("b"), 1u);
    EXPECT_EQ(board_.Count(Call::SET_INPUT), 0u);
    gpio_->Set("b", 2);
    gpio_->Set("both", 3);  // driven already: only the values are written
    EXPECT_EQ(board_.Count(Call::SET_OUTPUT), 1u);
    EXPECT_EQ(Levels({1, 0}), "11");
    // Showing the value ends it; the direction shown is the one before.
    EXPECT_THAT(Run("*"),
                ElementsAre("name  dir    value  ", "both  out*   0x1    ", "in    in     0x0    "));
    EXPECT_FALSE(board_.LineIsOutput("main", 1));
    EXPECT_THAT(Run("b"), ElementsAre("name  dir    value  ", "both  in*    0x1    "));
    EXPECT_EQ(board_.Count(Call::SET_INPUT), 1u);
    EXPECT_THAT(Run("b 2"), ElementsAre("b set to 2"));
    EXPECT_TRUE(board_.LineIsOutput("main", 1));
}

TEST_F(GPIODirectAccessTest, KeepsNothingOfALineThatIsRefused) {
    AddAll({"main 7:4 0 taken other"});
    board_.HoldLine("main", 9, "somebody");
    board_.AddGPIOChip("late", 1);  // after the accessor was made
    const size_t held = board_.Held();
    ExpectRefused({
        {"main x y", "GPIO: too few fields"},
        {"none x y f", "GPIO: bad line offset: Range list is malformed"},
        {"main 32 in f", "GPIO: bad line offset: Range list contains a value larger than 31"},
        {"main 0:31,0 in f", "GPIO: bad line offset: Range list would expand to more than 32 values"},
        {"main \"\" in f", "GPIO: bad line offset: Range list is empty"},
        {"main 0 IN f", "GPIO: bad line setting"},
        {"none 4 in f other", "GPIO: attempt to add duplicate signal \"other\""},
        {"none 4 in f g f", "GPIO: attempt to add duplicate signal \"f\""},
        {"main 0,5 in f", "GPIO attempt to add duplicate line main/5"},
        {"none 1,2,1 in f", "GPIO attempt to add duplicate line none/1"},
        {"late 0 in f", "GPIO: no chip found with label \"late\""},
        {"main 8:10 in f", "GPIO: could not request lines 8:10 on main: Device or resource busy"},
        {"main 9 0 f", "GPIO: could not request line 9 on main: Device or resource busy"},
    });
    board_.Fail(Call::GET_LINES, ENOMEM);
    EXPECT_EQ(Add("main 8 1 f"), "GPIO: could not open line 8 on main: Cannot allocate memory");
    board_.Fail(Call::OPEN_CHIP, EACCES);
    EXPECT_EQ(Add("aux 5 1 f"), "GPIO: could not open chip device /dev/gpiochip1: Permission denied");
    EXPECT_EQ(board_.Held(), held);
    EXPECT_EQ(Add("aux 7,8 in f"), "GPIO: could not open lines 7,8 on aux: Invalid argument");
    EXPECT_EQ(board_.Held(), held + 1);  // the chip "aux"
    EXPECT_THAT(Run("f"), ElementsAre("GPIO: no matching lines"));
    AddAll({"main 8 1 f g"});
    EXPECT_EQ(board_.LineConsumer("main", 8), "f");
    board_.Fail(Call::LIST_CHIPS, EACCES);
    EXPECT_EQ(ThrownMessage([&] { GPIODirectAccess("pins", "gpio", board_); }),
              "GPIO: gpio_chip_iter_new failed: Permission denied");
}

TEST_F(GPIODirectAccessTest, ReportsCallsThatFail) {
    AddAll({"main 1:0 bi both b", "main 2 in input", "main 6:3 5 output o"});
    EXPECT_EQ(Failure("input 0"), "GPIO: signal input is not an output or bidirectional");
    EXPECT_EQ(Failure("o 16"), "GPIO: cannot set 4-bit signal output to 0x16");

    board_.Fail(Call::SET_OUTPUT, EIO);
    EXPECT_EQ(Failure("b 1"),
              "GPIO: gpiod_line_set_direction_output_bulk failed for both: Input/output error");
    EXPECT_THAT(Run("b"), ElementsAre("name  dir    value  ", "both  in*    0x0    "));
    gpio_->Set("b", 1);
    board_.Fail(Call::SET_VALUES, EIO);
    EXPECT_EQ(Failure("b 2"), "GPIO: gpiod_line_set_value_bulk failed for both: Input/output error");
    board_.Fail(Call::SET_INPUT, EIO);
    EXPECT_EQ(Failure("b"), "GPIO: gpiod_line_set_direction_input_bulk failed for both: Input/output error");
    EXPECT_TRUE(board_.LineIsOutput("main", 0));
    board_.Fail(Call::GET_VALUES, EIO);
    EXPECT_EQ(Failure("b"), "GPIO: gpiod_line_get_value_bulk failed for both: Input/output error");
    gpio_->Set("b", 3);  // so it knows that it is an input now
    EXPECT_EQ(Levels({1, 0}), "11");
}

TEST_F(GPIODirectAccessTest, ListsAndExplains) {
    AddAll({"main 7:4 0xA zeta z last", "aux 0 in alpha", "main 9,11 bi bus"});
    EXPECT_THAT(Run("list"), ElementsAre("name   chip  line(s)  dir    value  aliases  ",  //
                                         "zeta   main  7:4      out    0xA    z, last  ",  //
                                         "alpha  aux   0        in     0x0             ",  //
                                         "bus    main  9,11     in*    0x0             "));
    EXPECT_THAT(Run("la*"), ElementsAre("name  dir    value  ", "zeta  out    0xA    "));
    EXPECT_THAT(Run("list A*"), ElementsAre("GPIO: no matching lines"));
    ExpectFailures({{"list a b", "GPIO: too many words in command"},
                    {"a* x", "GPIO: cannot set multiple signals at once"},
                    {"nothing x", "GPIO: bad value"},
                    {"Alpha 1", "GPIO: unknown signal Alpha"}});
}

}  // namespace
}  // namespace quarn::test
