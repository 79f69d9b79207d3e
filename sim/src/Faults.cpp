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

bool Faults::Strike(Call call) {
    ++counts_[call];
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
