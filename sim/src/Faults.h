#pragma once

#include <quarn/sim/SimulatedBoard.h>

#include <stddef.h>
#include <stdint.h>

#include <map>

namespace quarn::sim {

/// Which calls are to fail or to fall short, and how many there were. Guarded by the board's mutex.
class Faults {
public:
    void Fail(Call call, int error, uint64_t times, uint64_t skip) { failures_[call] = {skip, times, error}; }
    void Shorten(Call call, size_t most, uint64_t times);
    void Clear();

    void CutPowerAfter(uint64_t bytes);
    void RestorePower();
    bool HasPower() const { return hasPower_; }
    /// How many of the bytes can be written before the power goes; cuts it when none is left for more.
    size_t Spend(size_t bytes);

    /// Counts the call; true, with errno set, when it is to fail.
    bool Strike(Call call);
    /// How many of the bytes a read or write may move.
    size_t Limit(Call call, size_t length);

    uint64_t Count(Call call) const;

private:
    struct Failure {
        uint64_t skip;
        uint64_t times;
        int error;
    };
    struct Shortage {
        size_t most;
        uint64_t times;
    };

    std::map<Call, Failure> failures_;
    std::map<Call, Shortage> shortages_;
    std::map<Call, uint64_t> counts_;
    bool hasPower_ = true;
    bool cutsPower_ = false;
    uint64_t powerLeft_ = 0;
};

}  // namespace quarn::sim
