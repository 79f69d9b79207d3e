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
    int64_t Lines(const std::vector<uint32_t>& offsets) {
        return Result([&] { return chip_->GetLines(offsets) ? 0 : -1; });
    }

    SimulatedBoard board_;
    std::unique_ptr<GPIOChip> chip_;
};

TEST_F(SimulatedGPIOTest, RefusesWhatKernelAndLibraryWould) {
    board_.HoldLine("logic", 9, "other");
    board_.HoldLine("logic", 10, "");
    const auto lines = chip_->GetLines({7, 6});
    const auto overlapping = chip_->GetLines({5, 6});
    const auto held = chip_->GetLines({8, 9});
    const auto twice = chip_->GetLines({3, 3});
    std::vector<int> values(2), one(1);
    const std::string consumer(40, 'c');
    const std::vector<uint32_t> beyond = {15, 16};
    ExpectResults({
        {"beyond the chip", [&] { return Lines(beyond); }, -EINVAL},
        {"none", [&] { return Lines({}); }, -EINVAL},
        {"too many", [&] { return Lines(std::vector<uint32_t>(65)); }, -EINVAL},
        {"not requested: get", [&] { return lines->GetValues(values); }, -EPERM},
        {"not requested: set", [&] { return lines->SetValues(values); }, -EPERM},
        {"not requested: in", [&] { return lines->SetDirectionInput(); }, -EPERM},
        {"not requested: out", [&] { return lines->SetDirectionOutput(values); }, -EPERM},
        {"held by another", [&] { return held->RequestInput("me"); }, -EBUSY},
        {"the same twice", [&] { return twice->RequestOutput("me", values); }, -EBUSY},
        {"too few values", [&] { return lines->RequestOutput("me", one); }, -EINVAL},
        {"request", [&] { return lines->RequestInput(consumer); }, 0},
        {"again", [&] { return lines->RequestInput("me"); }, -EBUSY},
        {"one of them", [&] { return overlapping->RequestInput(""); }, -EBUSY},
        {"set an input", [&] { return lines->SetValues(values); }, -EPERM},
        {"too few to get", [&] { return lines->GetValues(one); }, -EINVAL},
        {"turn round", [&] { return lines->SetDirectionOutput(values); }, 0},
        {"set", [&] { return lines->SetValues(values); }, 0},
        {"turn back", [&] { return lines->SetDirectionInput(); }, 0},
        {"set again", [&] { return lines->SetValues(values); }, -EPERM},
    });
    EXPECT_EQ(board_.LineConsumer("logic", 6), consumer.substr(0, 31));
    EXPECT_EQ(board_.LineConsumer("logic", 9), "other");
    EXPECT_EQ(board_.LineConsumer("logic", 10), "?");
    // What a failed request found free stays free.
    EXPECT_EQ(board_.LineConsumer("logic", 8), "");
    EXPECT_EQ(board_.LineConsumer("logic", 5), "");
    EXPECT_EQ(board_.LineConsumer("logic", 3), "");
}

TEST_F(SimulatedGPIOTest, AChipIsNotClosedBeforeItsLines) {
    const auto lines = chip_->GetLines({1});
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
    const auto unrequested = chip_->GetLines({1});
    ASSERT_EQ(lines->RequestOutput("me", {1}), 0);
    board_.Remove("logic");
    std::vector<int> values(1);
    std::vector<GPIOChips::ChipName> chips;
    const auto open = [&] { return board_.OpenChip("/dev/gpiochip0") ? 0 : -1; };
    ExpectResults({
        {"get", [&] { return lines->GetValues(values); }, -ENODEV},
        {"request", [&] { return unrequested->RequestInput("me"); }, -ENODEV},
        {"lines", [&] { return Lines({0}); }, -ENODEV},
        {"open", open, -ENOENT},
        {"list", [&] { return board_.List(chips); }, 0},
    });
    EXPECT_EQ(chips.size(), 1u);
    board_.PutBack("logic");
    EXPECT_FALSE(board_.LineLevel("logic", 0));
    EXPECT_EQ(Result([&] { return lines->GetValues(values); }), -ENODEV);
    const auto again = board_.OpenChip("/dev/gpiochip0");
    const auto anew = again->GetLines({0});
    EXPECT_EQ(anew->RequestInput("next"), 0);
    lines.reset();
    EXPECT_EQ(board_.LineConsumer("logic", 0), "next");
}

}  // namespace
}  // namespace quarn::sim
