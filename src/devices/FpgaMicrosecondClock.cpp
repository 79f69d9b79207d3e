#include <quarn/FpgaMicrosecondClock.h>
#include <quarn/SubcommandParserHelper.h>
#include <quarn/Text.h>

#include "devices/MappedCounter.h"

namespace quarn {

namespace {

constexpr char kCommand[] = "uclk";
constexpr char kHelpEntry[] = "uclk: FPGA Microsecond clock access";

constexpr size_t kBlockLength = 4;
constexpr size_t kCounterValue = 0;

}  // namespace

class FpgaMicrosecondClock::Impl {
public:
    Impl(uint64_t physicalBase, DeviceIO& io) : counter(physicalBase, kBlockLength, kCounterValue, io) {}

    MappedCounter counter;
};

FpgaMicrosecondClock::FpgaMicrosecondClock(uint64_t physicalBase, DeviceIO& io)
    : impl_(std::make_unique<Impl>(physicalBase, io)) {}

FpgaMicrosecondClock::~FpgaMicrosecondClock() = default;

uint32_t FpgaMicrosecondClock::GetMicrosecondClock() const {
    return impl_->counter.Now();
}

uint32_t FpgaMicrosecondClock::SetMicrosecondClock(uint32_t time) {
    return impl_->counter.Set(time);
}

uint32_t FpgaMicrosecondClock::GetAdjustment() const {
    return impl_->counter.GetAdjustment();
}

void FpgaMicrosecondClock::SetAdjustment(uint32_t adjustment) {
    impl_->counter.SetAdjustment(adjustment);
}

std::set<std::string> FpgaMicrosecondClock::GetConsoleCommands(bool withDescriptions) const {
    return {withDescriptions ? kHelpEntry : kCommand};
}

std::list<std::string> FpgaMicrosecondClock::Execute(const std::string& command,
                                                     const std::vector<std::string>& words) {
    const SubcommandParserHelper parser(command, words);
    if (parser.NoSub())
        return {kHelpEntry, "",
                Format("%s show            show adjustment and effective time", parser.Cmd_c()),
                Format("%s check           check against tick counter", parser.Cmd_c())};
    if (parser.Sub("show", 0))
        return impl_->counter.Show();
    if (parser.Sub("check", 0))
        return impl_->counter.Check();
    parser.Unk();
}

}  // namespace quarn
