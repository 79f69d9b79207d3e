#include "Faults.h"

#include <quarn/MonitorException.h>

#include <errno.h>

#include <algorithm>

namespace quarn::sim {

void Faults::Shorten(Call call, size_t most, uint64_t times) {
    if (call != Call::READ && call != Call::WRITE)
        throw MonitorException("SIM: only reads and writes can be short");
    shortages_[call] = {most, times};
}

void Faults::Clear() {
    failures_.clear();
    shortages_.clear();
}

void Faults::CutPowerAfter(uint64_t bytes) {
    cutsPower_ = true;
    powerLeft_ = bytes;
    hasPower_ = bytes != 0;
}

void Faults::RestorePower() {
    cutsPower_ = false;
    hasPower_ = true;
}

size_t Faults::Spend(size_t bytes) {
    if (!cutsPower_)
        return bytes;
    bytes = size_t(std::min<uint64_t>(bytes, powerLeft_));
    powerLeft_ -= bytes;
    hasPower_ = powerLeft_ != 0;
    return bytes;
}

bool Faults::Strike(Call call) {
    ++counts_[call];
    if (!hasPower_) {
        errno = EIO;
        return true;
    }
    const auto found = failures_.find(call);
    if (found == failures_.end())
        return false;
    Failure& failure = found->second;
    if (failure.skip > 0) {
        --failure.skip;
        return false;
    }
    if (failure.times == 0)
        return false;
    --failure.times;
    errno = failure.error;
    return true;
}

size_t Faults::Limit(Call call, size_t length) {
    const auto found = shortages_.find(call);
    if (found == shortages_.end() || found->second.times == 0)
        return length;
    --found->second.times;
    return std::min(length, found->second.most);
}

uint64_t Faults::Count(Call call) const {
    const auto found = counts_.find(call);
    return found == counts_.end() ? 0 : found->second;
}

}  // namespace quarn::sim
