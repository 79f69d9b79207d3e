#include <quarn/PermanentCondition.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace quarn {

class PermanentCondition::Impl {
public:
    // Waits for a Raise() that is still on its way out of the mutex.
    ~Impl() { const std::lock_guard guard(mutex); }

    std::atomic<bool> raised{false};
    std::condition_variable changed;
    std::mutex mutex;
};

PermanentCondition::PermanentCondition() : impl_(std::make_unique<Impl>()) {}

PermanentCondition::~PermanentCondition() = default;

bool PermanentCondition::Raise() {
    const std::lock_guard guard(impl_->mutex);
    if (impl_->raised.exchange(true))
        return false;
    impl_->changed.notify_all();  // inside: whoever sees the flag may destroy this object
    return true;
}

bool PermanentCondition::IsRaised() const {
    return impl_->raised.load(std::memory_order_acquire);
}

bool PermanentCondition::WaitFor(uint32_t milliseconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    std::unique_lock guard(impl_->mutex);
    return impl_->changed.wait_until(guard, deadline, [this] { return impl_->raised.load(); });
}

}  // namespace quarn
