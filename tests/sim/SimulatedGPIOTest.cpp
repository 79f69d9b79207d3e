#include "sim/BoardPlayer.h"

namespace quarn::sim {
namespace {

/// Opens chips and gets lines of them under short names, and makes calls on these.
class GPIOPlayer : public BoardPlayer {
public:
    GPIOPlayer() {
        Add({
            {"chip", [&] { return Shown((chips_[W(1)] = board_->OpenChip(W(2))) ? 0 : -1); }},
            {"lines", [&] { return Lines(); }},
            {"give-back", Quietly([&] { lines_.erase(W(1)); })},
            {"request-input", [&] { return Shown(Line().RequestInput(Words() > 2 ? W(2) : "")); }},
            {"request-output", [&] { return Shown(Line().RequestOutput(W(2), Numbers(3))); }},
            {"get", [&] { return Get(); }},
            {"set", [&] { return Shown(Line().SetValues(Numbers(2))); }},
            {"turn-to-input", [&] { return Shown(Line().SetDirectionInput()); }},
            {"turn-to-output", [&] { return Shown(Line().SetDirectionOutput(Numbers(2))); }},
        });
    }

    void Close(const std::string& name) { chips_.erase(name); }

private:
    void Begin() override {
        lines_.clear();
        chips_.clear();
        BoardPlayer::Begin();
    }
    std::string Lines() {
        const std::vector<int> offsets = Numbers(3);
        lines_[W(1)] = chips_.at(W(2))->GetLines({offsets.begin(), offsets.end()});
        return Shown(lines_[W(1)] ? 0 : -1);
    }
    std::string Get() {
        std::vector<int> levels(N(2), -1);
        const int32_t result = Line().GetValues(levels);
        return result != 0 ? Shown(result) : VariantValue(std::vector<int32_t>(levels)).ToString();
    }
    GPIOLines& Line() { return *lines_.at(W(1)); }
    std::vector<int> Numbers(size_t first) const {
        std::vector<int> numbers;
        for (const std::string& word : From(first))
            numbers.push_back(ParseI32(word));
        return numbers;
    }

    std::map<std::string, std::unique_ptr<GPIOChip>> chips_;
    std::map<std::string, std::unique_ptr<GPIOLines>> lines_;
};

TEST(SimulatedGPIOTest, RefusesWhatKernelAndLibraryWould) {
    GPIOPlayer player;
    player.Replay("gpio.txt");
    EXPECT_DEATH(player.Close("last"), "SIM: GPIO chip \"logic\" closed before its lines were given back");
}

}  // namespace
}  // namespace quarn::sim
