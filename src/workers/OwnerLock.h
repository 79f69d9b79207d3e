#pragma once

#include <stdint.h>

#include <atomic>
#include <chrono>
#include <mutex>

namespace quarn {

/// The lock of a worker: timed, not recursive, with an owner that can be asked for, and fair: whoever waits
/// gets it in turn, so that a worker that never rests cannot keep others out. It can be closed, after which
/// nobody waits for it any more, and it may be destroyed while it is held.
///
/// Threads are named by CurrentThreadId().
class OwnerLock {
public:
    enum class Outcome { LOCKED, TIMED_OUT, CLOSED };

    OwnerLock() = default;
    OwnerLock(const OwnerLock&) = delete;
    OwnerLock& operator=(const OwnerLock&) = delete;

    /// Waits for the lock at most this long. `insist` is for the one thread that a closed lock does not turn
    /// away.
    Outcome Acquire(uint64_t thread, std::chrono::milliseconds limit, bool insist) {
        uint64_t expected = 0;
        if (owner_.compare_exchange_strong(expected, thread))
            return Outcome::LOCKED;
        return AcquireInTurn(thread, std::chrono::steady_clock::now() + limit, insist);
    }

    /// Releases the lock; does nothing if the thread does not hold it.
    void Release(uint64_t thread);

    bool IsOwnedBy(uint64_t thread) const { return owner_.load(std::memory_order_relaxed) == thread; }

    /// Turns away whoever waits now or would have to wait later.
    void Close();

private:
    struct Waiter;

    Outcome AcquireInTurn(uint64_t thread, std::chrono::steady_clock::time_point deadline, bool insist);
    void HandOver();
    void Append(Waiter& waiter);
    void Remove(Waiter& waiter);

    std::atomic<uint64_t> owner_{0};  // 0 when nobody has it
    std::atomic<uint32_t> waiting_{0};
    std::mutex mutex_;  // of what follows
    Waiter* first_ = nullptr;
    Waiter* last_ = nullptr;
    bool closed_ = false;
};

}  // namespace quarn
