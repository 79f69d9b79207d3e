#include "devices/MappedCounter.h"

#include <quarn/LocalTime.h>
#include <quarn/Text.h>

#include <chrono>
#include <thread>

namespace quarn {

MappedCounter::MappedCounter(uint64_t physicalBase, size_t length, size_t counterOffset, DeviceIO& io)
    : io_(io),
      mapping_(physicalBase, length, io),
      words_(static_cast<volatile uint32_t*>(mapping_.VolatilePtr())),
      counterOffset_(counterOffset) {}

uint32_t MappedCounter::Set(uint32_t time) {
    const uint32_t before = Now();
    // The counter is read again, so that the clock is right when this returns and not when it began.
    SetAdjustment(time - GetRaw());
    return before;
}

std::list<std::string> MappedCounter::Show() const {
    return {Format("0x%08X (adjustment)", GetAdjustment()), Format("0x%08X (effective)", Now())};
}

std::list<std::string> MappedCounter::Check() const {
    const uint64_t startTick = Tick();
    const uint32_t startCount = GetRaw();
    std::this_thread::sleep_for(std::chrono::microseconds(1000));
    const uint64_t ticks = Tick() - startTick;
    const uint32_t counts = GetRaw() - startCount;
    return {Format("%u counts occurred in %lu system ticks", counts, ticks)};
}

}  // namespace quarn
