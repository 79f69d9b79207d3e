#include <quarn/MicrosecondClockHardware.h>
#include <quarn/SubcommandParserHelper.h>
#include <quarn/Text.h>

#include "devices/MappedCounter.h"

namespace quarn {

namespace {

constexpr char kCommand[] = "sch";
constexpr char kHelpEntry[] = "sch: Microsecond clock hardware access";

constexpr size_t kBlockLength = 0x100;
// Registers of the triple timer counter, by offset.
constexpr size_t kClockControl1 = 0x00;
constexpr size_t kClockControl2 = 0x04;
constexpr size_t kCounterControl1 = 0x0C;
constexpr size_t kCounterControl2 = 0x10;
constexpr size_t kCounterControl3 = 0x14;
constexpr size_t kCounterValue1 = 0x18;
constexpr size_t kCounterValue2 = 0x1C;
constexpr size_t kInterval1 = 0x24;
constexpr size_t kMatch1 = 0x30;

constexpr uint32_t kExternalClock = 0x20;
constexpr uint32_t kStop = 0x01;
constexpr uint32_t kRunFree = 0x20;
constexpr uint32_t kRunWithIntervalAndMatch = 0x0A;
constexpr uint32_t kInterval = 25;  // counts from 0, so that a period has 26
constexpr uint32_t kMatch = 24;
// What the console says whatever the hardware holds, deliberately.
constexpr uint32_t kDivisor = 26;

}  // namespace

class MicrosecondClockHardware::Impl {
public:
    Impl(uint64_t physicalBase, DeviceIO& io) : counter(physicalBase, kBlockLength, kCounterValue2, io) {
        if (counter.Read(kMatch1) != kMatch || counter.Read(kInterval1) != kInterval)
            SetUp();
    }

    std::list<std::string> Raw() const {
        return {Format("0x%08X (divide-by-%u)", counter.Read(kCounterValue1), kDivisor),
                Format("0x%08X (free run)", counter.GetRaw())};
    }

    MappedCounter counter;

private:
    /// Counter 1 is started last, when everything that it drives is ready.
    void SetUp() {
        counter.Write(kCounterControl1, kStop);
        counter.Write(kCounterControl2, kStop);
        counter.Write(kCounterControl3, kStop);
        counter.Write(kClockControl2, kExternalClock);
        counter.Write(kCounterControl2, kRunFree);
        counter.Write(kClockControl1, kExternalClock);
        counter.Write(kMatch1, kMatch);
        counter.Write(kInterval1, kInterval);
        counter.Write(kCounterControl1, kRunWithIntervalAndMatch);
    }
};

MicrosecondClockHardware::MicrosecondClockHardware(uint64_t physicalBase, DeviceIO& io)
    : impl_(std::make_unique<Impl>(physicalBase, io)) {}

MicrosecondClockHardware::~MicrosecondClockHardware() = default;

uint32_t MicrosecondClockHardware::GetMicrosecondClock() const {
    return impl_->counter.Now();
}

uint32_t MicrosecondClockHardware::SetMicrosecondClock(uint32_t time) {
    return impl_->counter.Set(time);
}

uint32_t MicrosecondClockHardware::GetAdjustment() const {
    return impl_->counter.GetAdjustment();
}

void MicrosecondClockHardware::SetAdjustment(uint32_t adjustment) {
    impl_->counter.SetAdjustment(adjustment);
}

std::set<std::string> MicrosecondClockHardware::GetConsoleCommands(bool withDescriptions) const {
    return {withDescriptions ? kHelpEntry : kCommand};
}

std::list<std::string> MicrosecondClockHardware::Execute(const std::string& command,
                                                         const std::vector<std::string>& words) {
    const SubcommandParserHelper parser(command, words);
    if (parser.NoSub())
        return {kHelpEntry, "",
                Format("%s show            show adjustment and effective time", parser.Cmd_c()),
                Format("%s raw             show register counts", parser.Cmd_c()),
                Format("%s check           check against tick counter", parser.Cmd_c())};
    if (parser.Sub("show", 0))
        return impl_->counter.Show();
    if (parser.Sub("raw", 0))
        return impl_->Raw();
    if (parser.Sub("check", 0))
        return impl_->counter.Check();
    parser.Unk();
}

}  // namespace quarn
