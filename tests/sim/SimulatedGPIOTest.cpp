#include <quarn/sim/SimulatedBoard.h>

#include "sim/BoardCalls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn::sim {
namespace {

using testing::ElementsAre;

class SimulatedGPIOTest : public testing::Test {
protected:
    SimulatedGPIOTest() {
        board_.AddGPIOChip("logic", 16);
        board_.AddGPIOChip("panel", 4);
        chip_ = board_.OpenChip("/dev/gpiochip0");
    }

    std::vector<int> Values(GPIOLines& lines, size_t count) {
        std::vector<int> values(count, -1);
        EXPECT_EQ(lines.GetValues(values), 0);
        return values;
    }
    /// 0 for lines, or the errno, negative.
    int64_t Lines(const std::vector<uint32_t>& offsets) { return Result(chip_->GetLines(offsets) ? 0 : -1); }

    SimulatedBoard board_;
    std::unique_ptr<GPIOChip> chip_;
};

TEST_F(SimulatedGPIOTest, RefusesWhatKernelAndLibraryWould) {
    board_.HoldLine("logic", 9, "other");
    EXPECT_EQ(Lines({15, 16}), -EINVAL);
    EXPECT_EQ(Lines(std::vector<uint32_t>(65)), -EINVAL);
    const auto lines = chip_->GetLines({7, 6});
    std::vector<int> values(2), one(1);
    EXPECT_EQ(Result(lines->GetValues(values)), -EPERM);
    EXPECT_EQ(Result(lines->SetDirectionOutput(values)), -EPERM);
    // What a failed request found free stays free.
    EXPECT_EQ(Result(chip_->GetLines({8, 9})->RequestInput("me")), -EBUSY);
    EXPECT_EQ(Result(chip_->GetLines({3, 3})->RequestOutput("me", values)), -EBUSY);
    EXPECT_EQ(Result(lines->RequestOutput("me", one)), -EINVAL);
    for (const uint32_t offset : {8, 3, 6})
        EXPECT_EQ(board_.LineConsumer("logic", offset), "") << offset;

    EXPECT_EQ(lines->RequestInput(std::string(40, 'c')), 0);
    EXPECT_EQ(board_.LineConsumer("logic", 6), std::string(31, 'c'));
    EXPECT_EQ(Result(lines->RequestInput("me")), -EBUSY);
    EXPECT_EQ(Result(chip_->GetLines({5, 6})->RequestInput("")), -EBUSY);
    EXPECT_EQ(Result(lines->SetValues(values)), -EPERM);
    EXPECT_EQ(Result(lines->GetValues(one)), -EINVAL);
    EXPECT_EQ(lines->SetDirectionOutput(values), 0);
    EXPECT_EQ(lines->SetValues(values), 0);
    EXPECT_EQ(lines->SetDirectionInput(), 0);
    EXPECT_EQ(Result(lines->SetValues(values)), -EPERM);
    EXPECT_DEATH(chip_.reset(), "SIM: GPIO chip \"logic\" closed before its lines were given back");
}

TEST_F(SimulatedGPIOTest, WiresCarryLevels) {
    board_.WireLines("logic", 0, "panel", 0);
    board_.WireLines("panel", 0, "panel", 1);
    const auto ends = chip_->GetLines({1, 0});
    const auto panel = board_.OpenChip("/dev/gpiochip1");
    const auto others = panel->GetLines({0, 1, 2});
    ASSERT_EQ(others->RequestInput("reader"), 0);
    EXPECT_THAT(Values(*others, 3), ElementsAre(0, 0, 0));  // nobody drives

    ASSERT_EQ(ends->RequestOutput("driver", {0, 1}), 0);
    EXPECT_THAT(Values(*others, 3), ElementsAre(1, 1, 0));
    EXPECT_THAT(Values(*ends, 2), ElementsAre(0, 1));
    ASSERT_EQ(others->SetDirectionOutput({1, 0, 1}), 0);  // unlike outputs: low
    EXPECT_THAT(Values(*others, 3), ElementsAre(0, 0, 1));
    board_.DriveLine("panel", 1, true);  // the outside is stronger
    EXPECT_THAT(Values(*ends, 2), ElementsAre(0, 1));
    board_.DriveLine("logic", 0, false);
    EXPECT_FALSE(board_.LineLevel("panel", 0));
}

TEST_F(SimulatedGPIOTest, ARemovedChipIsDeadForWhoeverHasIt) {
    auto lines = chip_->GetLines({0});
    ASSERT_EQ(lines->RequestOutput("me", {1}), 0);
    board_.Remove("logic");
    std::vector<int> values(1);
    EXPECT_EQ(Result(lines->GetValues(values)), -ENODEV);
    EXPECT_EQ(Lines({0}), -ENODEV);
    EXPECT_EQ(Result(board_.OpenChip("/dev/gpiochip0") ? 0 : -1), -ENOENT);
    board_.PutBack("logic");
    EXPECT_EQ(Result(lines->GetValues(values)), -ENODEV);
    const auto again = board_.OpenChip("/dev/gpiochip0");
    const auto anew = again->GetLines({0});
    EXPECT_EQ(anew->RequestInput("next"), 0);
    lines.reset();
    EXPECT_EQ(board_.LineConsumer("logic", 0), "next");
}

}  // namespace
}  // namespace quarn::sim
