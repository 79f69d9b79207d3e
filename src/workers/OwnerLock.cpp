#include "workers/OwnerLock.h"

#include <condition_variable>

namespace quarn {

// A thread in the queue, on that thread's stack. Whoever passes it the lock takes it out.
struct OwnerLock::Waiter {
    const uint64_t thread;
    bool granted = false;
    std::condition_variable changed{};
    Waiter* previous = nullptr;
    Waiter* next = nullptr;
};

// The owner is free for the taking only while nobody waits. A waiter therefore counts itself before it looks
// at the owner a last time, and a release looks at the count after it has cleared the owner; both in the
// single order of sequential consistency, so that at least one of them sees the other.

OwnerLock::Outcome OwnerLock::AcquireInTurn(uint64_t thread, std::chrono::steady_clock::time_point deadline,
                                            bool insist) {
    std::unique_lock guard(mutex_);
    ++waiting_;
    uint64_t expected = 0;
    if (!first_ && owner_.compare_exchange_strong(expected, thread)) {
        --waiting_;
        return Outcome::LOCKED;
    }
    Waiter self{.thread = thread};
    Append(self);
    bool late = false;
    while (!self.granted) {
        const bool refused = closed_ && !insist;
        if (refused || late) {
            Remove(self);
            return refused ? Outcome::CLOSED : Outcome::TIMED_OUT;
        }
        late = self.changed.wait_until(guard, deadline) == std::cv_status::timeout;
    }
    return Outcome::LOCKED;
}

void OwnerLock::Release(uint64_t thread) {
    if (!IsOwnedBy(thread))
        return;
    if (waiting_ == 0) {
        owner_ = 0;
        if (waiting_ == 0)
            return;
        // Someone queued in between; others may meanwhile have taken the lock, and will pass it on.
        const std::lock_guard guard(mutex_);
        uint64_t expected = 0;
        if (first_ && owner_.compare_exchange_strong(expected, thread))
            HandOver();
    } else {
        const std::lock_guard guard(mutex_);
        HandOver();
    }
}

// Passes the lock from its owner, the caller, to the first in the queue.
void OwnerLock::HandOver() {
    if (!first_) {
        owner_ = 0;
        return;
    }
    Waiter& next = *first_;
    Remove(next);
    owner_ = next.thread;
    next.granted = true;
    next.changed.notify_one();
}

void OwnerLock::Close() {
    const std::lock_guard guard(mutex_);
    closed_ = true;
    for (Waiter* waiter = first_; waiter; waiter = waiter->next)
        waiter->changed.notify_one();
}

void OwnerLock::Append(Waiter& waiter) {
    waiter.previous = last_;
    (last_ ? last_->next : first_) = &waiter;
    last_ = &waiter;
}

void OwnerLock::Remove(Waiter& waiter) {
    (waiter.previous ? waiter.previous->next : first_) = waiter.next;
    (waiter.next ? waiter.next->previous : last_) = waiter.previous;
    --waiting_;
}

}  // namespace quarn
