#include <quarn/GPIODirectAccess.h>
#include <quarn/Parse.h>
#include <quarn/sim/SimulatedBoard.h>

#include "devices/AccessorFixture.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <errno.h>

#include <optional>

namespace quarn {
namespace {

using sim::Call;
using sim::SimulatedBoard;
using test::DebugCapture;
using test::ThrownMessage;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kNothing[] = "(nothing thrown)";

class GPIODirectAccessTest : public test::AccessorFixture {
protected:
    GPIODirectAccessTest() : AccessorFixture("pins", "gpio") {
        board_.AddGPIOChip("main", 32);
        board_.AddGPIOChip("aux", 8);
        gpio_.emplace("pins", "gpio", board_);
    }

    Accessor& Tested() override { return *gpio_; }
    std::string GetFailure(const std::string& name) {
        return ThrownMessage([&] { gpio_->Get(name); });
    }
    std::string SetFailure(const std::string& name, uint32_t value) {
        return ThrownMessage([&] { gpio_->Set(name, value); });
    }
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
    AddAll({"main 7:4 0x9 down", "main 8:10,3 1 mixed", "main 0 1 one"});
    EXPECT_EQ(Levels({7, 6, 5, 4}), "1001");
    EXPECT_EQ(Levels({8, 9, 10, 3}), "0001");
    EXPECT_EQ(Levels({0}), "1");
    gpio_->Set("down", 0xC);
    gpio_->Set("mixed", 0xA);
    gpio_->Set("one", 0);
    EXPECT_EQ(Levels({7, 6, 5, 4}), "1100");
    EXPECT_EQ(Levels({8, 9, 10, 3}), "1010");
    EXPECT_EQ(Levels({0}), "0");
    EXPECT_EQ(gpio_->Get("down"), 0xCu);
    EXPECT_EQ(gpio_->Get("mixed"), 0xAu);

    AddAll({"main 15:12 in inputs"});
    board_.DriveLine("main", 15, true);
    board_.DriveLine("main", 12, true);
    EXPECT_EQ(gpio_->Get("inputs"), 0x9u);
}

TEST_F(GPIODirectAccessTest, HoldsGroupsOfAllWidths) {
    for (const uint32_t width : {1u, 31u, 32u}) {
        gpio_.emplace("pins", "gpio", board_);
        AddAll({("main " + std::to_string(width - 1) + ":0 0x80000001 all").c_str()});
        const uint32_t all = ~uint32_t{0} >> (32 - width);
        EXPECT_EQ(gpio_->Get("all"), 0x80000001 & all);
        for (const uint32_t value : {all, 1u, all / 2 + 1, 0u}) {
            gpio_->Set("all", value);
            EXPECT_EQ(gpio_->Get("all"), value) << width;
        }
        EXPECT_EQ(SetFailure("all", all + 1), width == 32 ? kNothing
                                              : width == 31
                                                  ? "GPIO: cannot set 31-bit signal all to 0x2147483648"
                                                  : "GPIO: cannot set 1-bit signal all to 0x2");
    }
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
    EXPECT_EQ(board_.Count(Call::SET_VALUES), 1u);
    EXPECT_TRUE(board_.LineIsOutput("main", 1));
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

TEST_F(GPIODirectAccessTest, RefusesDefectiveLines) {
    AddAll({"main 7:4 0 taken other"});
    const size_t held = board_.Held();
    const struct {
        const char* line;
        const char* message;
    } cases[] = {
        {"main x y", "GPIO: too few fields"},
        {"none x y f", "GPIO: bad line offset: Range list is malformed"},
        {"main 1-2 in f", "GPIO: bad line offset: Range list is malformed"},
        {"main 32 in f", "GPIO: bad line offset: Range list contains a value larger than 31"},
        {"main 0:31,0 in f", "GPIO: bad line offset: Range list would expand to more than 32 values"},
        {"main \"\" in f", "GPIO: bad line offset: Range list is empty"},
        {"main 0 out f", "GPIO: bad line setting"},
        {"main 0 IN f", "GPIO: bad line setting"},
        {"none 4 in f other", "GPIO: attempt to add duplicate signal \"other\""},
        {"none 4 in f g f", "GPIO: attempt to add duplicate signal \"f\""},
        {"main 0,5 in f", "GPIO attempt to add duplicate line main/5"},
        {"none 1,2,1 in f", "GPIO attempt to add duplicate line none/1"},
        {"none 4 in f", "GPIO: no chip found with label \"none\""},
        {"aux 7,8 in f", "GPIO: could not open lines 7,8 on aux: Invalid argument"},
        {"aux 8 in f", "GPIO: could not open line 8 on aux: Invalid argument"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Add(c.line), c.message) << c.line;
    EXPECT_EQ(board_.Held(), held + 1);  // the chip "aux"
    EXPECT_EQ(GetFailure("f"), "GPIO: unknown signal f");
    AddAll({"aux 5 in f g"});
}

TEST_F(GPIODirectAccessTest, KeepsNothingOfALineThatTheSystemRefuses) {
    board_.HoldLine("main", 9, "somebody");
    AddAll({"main 0 in first"});
    const size_t held = board_.Held();
    EXPECT_EQ(Add("main 8:10 in f"), "GPIO: could not request lines 8:10 on main: Device or resource busy");
    EXPECT_EQ(Add("main 9 0 f"), "GPIO: could not request line 9 on main: Device or resource busy");
    board_.Fail(Call::REQUEST_LINES, EIO);
    EXPECT_EQ(Add("main 8 1 f"), "GPIO: could not request line 8 on main: Input/output error");
    board_.Fail(Call::GET_LINES, ENOMEM);
    EXPECT_EQ(Add("main 8 1 f"), "GPIO: could not open line 8 on main: Cannot allocate memory");
    board_.Fail(Call::OPEN_CHIP, EACCES);
    EXPECT_EQ(Add("aux 8 1 f"), "GPIO: could not open chip device /dev/gpiochip1: Permission denied");
    EXPECT_EQ(board_.Held(), held);
    EXPECT_EQ(board_.LineConsumer("main", 8), "");
    EXPECT_THAT(Run("f"), ElementsAre("GPIO: no matching lines"));
    AddAll({"main 8 1 f"});
    EXPECT_EQ(board_.LineConsumer("main", 8), "f");
    EXPECT_EQ(board_.Count(Call::OPEN_CHIP), 2u);  // "main" once
}

TEST_F(GPIODirectAccessTest, ReportsCallsThatFail) {
    AddAll({"main 1:0 bi both b", "main 2 in input", "main 6:3 5 output o"});
    EXPECT_EQ(SetFailure("input", 0), "GPIO: signal input is not an output or bidirectional");
    EXPECT_EQ(SetFailure("o", 16), "GPIO: cannot set 4-bit signal output to 0x16");
    EXPECT_EQ(SetFailure("Output", 1), "GPIO: unknown signal Output");

    board_.Fail(Call::SET_OUTPUT, EIO);
    EXPECT_EQ(SetFailure("b", 1),
              "GPIO: gpiod_line_set_direction_output_bulk failed for both: Input/output error");
    EXPECT_THAT(Run("b"), ElementsAre("name  dir    value  ", "both  in*    0x0    "));
    gpio_->Set("b", 1);
    board_.Fail(Call::SET_VALUES, EIO);
    EXPECT_EQ(SetFailure("b", 2), "GPIO: gpiod_line_set_value_bulk failed for both: Input/output error");
    board_.Fail(Call::SET_INPUT, EIO);
    EXPECT_EQ(GetFailure("b"),
              "GPIO: gpiod_line_set_direction_input_bulk failed for both: Input/output error");
    EXPECT_TRUE(board_.LineIsOutput("main", 0));
    board_.Fail(Call::GET_VALUES, EIO);
    EXPECT_EQ(GetFailure("b"), "GPIO: gpiod_line_get_value_bulk failed for both: Input/output error");
    EXPECT_FALSE(board_.LineIsOutput("main", 0));
    gpio_->Set("b", 3);  // so it knows that it is an input now
    EXPECT_EQ(Levels({1, 0}), "11");

    board_.Remove("main");
    EXPECT_EQ(Failure("list o*"), "GPIO: gpiod_line_get_value_bulk failed for output: No such device");
}

TEST_F(GPIODirectAccessTest, ListsSignalsInOrderOfConfiguration) {
    AddAll({"main 7:4 0xA zeta z last", "aux 0 in alpha", "main 9,11 bi bus"});
    EXPECT_THAT(Run("list"), ElementsAre("name   chip  line(s)  dir    value  aliases  ",  //
                                         "zeta   main  7:4      out    0xA    z, last  ",  //
                                         "alpha  aux   0        in     0x0             ",  //
                                         "bus    main  9,11     in*    0x0             "));
    EXPECT_THAT(Run("list la*"), ElementsAre("name  chip  line(s)  dir    value  aliases  ",  //
                                             "zeta  main  7:4      out    0xA    z, last  "));
    EXPECT_THAT(Run("z"), ElementsAre("name  dir    value  ",  //
                                      "zeta  out    0xA    "));
    EXPECT_THAT(Run("list A*"), ElementsAre("GPIO: no matching lines"));
}

TEST_F(GPIODirectAccessTest, ExplainsItsCommand) {
    EXPECT_THAT(gpio_->GetConsoleCommands(false), ElementsAre("gpio"));
    EXPECT_THAT(gpio_->GetConsoleCommands(true), ElementsAre("gpio: GPIO access (direct)"));
    EXPECT_THAT(gpio_->GetConfigurationSections(), ElementsAre("pins"));
    EXPECT_THAT(gpio_->Execute("io", {}),
                ElementsAre("gpio: GPIO access (direct)", "",
                            "io list            list all signals/groups and aliases",
                            "io list <pattern>  list specified signal(s)/group(s)",
                            "io <pattern>       show direction and value of one or more signal(s)/group(s)",
                            "io <name> [0|1]    set value of an output signal/group", "",
                            "  <pattern> is a signal/group name with optional * wildcard(s)",
                            "  <name>    is a signal/group name",
                            "  * suffix in direction column denotes a bidirectional signal/group"));
    EXPECT_EQ(Failure("list a b"), "GPIO: too many words in command");
    EXPECT_EQ(Failure("a* x"), "GPIO: cannot set multiple signals at once");
    EXPECT_EQ(Failure("nothing x"), "GPIO: bad value");
    EXPECT_EQ(Failure("nothing 1"), "GPIO: unknown signal nothing");
}

TEST_F(GPIODirectAccessTest, WarnsOfAnInitialValueThatIsTooWide) {
    DebugCapture debug;
    AddAll({"main 1:0 0x15 two", "main 3:2 3 fits"});
    EXPECT_THAT(debug.Lines(),
                ElementsAre("GPIO: initial value 0x15 of 2-bit signal two is cut to its width"));
    EXPECT_EQ(Levels({1, 0, 3, 2}), "0111");
}

TEST_F(GPIODirectAccessTest, GivesEverythingBackAtItsEnd) {
    AddAll({"main 3:0 15 first", "aux 1 bi second"});
    EXPECT_EQ(board_.Held(), 7u);  // five lines and two chips
    gpio_.reset();
    EXPECT_EQ(board_.Held(), 0u);
    EXPECT_FALSE(board_.LineIsOutput("main", 0));
}

TEST(GPIODirectAccessLifeTest, KnowsTheChipsThatAreThereWhenItIsBuilt) {
    SimulatedBoard board;
    board.Fail(Call::LIST_CHIPS, EACCES);
    EXPECT_EQ(ThrownMessage([&] { GPIODirectAccess gpio("gpio", "gpio", board); }),
              "GPIO: gpio_chip_iter_new failed: Permission denied");
    GPIODirectAccess gpio("gpio", "gpio", board);
    board.AddGPIOChip("late", 1);
    EXPECT_EQ(ThrownMessage([&] { gpio.Configure("gpio", Tokenize("late 0 in f")); }),
              "GPIO: no chip found with label \"late\"");
    EXPECT_THAT(gpio.Execute("gpio", {"list"}), ElementsAre("GPIO: no matching lines"));
}

}  // namespace
}  // namespace quarn
