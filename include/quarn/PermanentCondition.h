#pragma once

/// A flag that is raised once and never lowered, with a timed wait for it.
///
///     quarn::PermanentCondition ready;
///     std::thread loader([&] {
///         Load();
///         ready.Raise();
///     });
///     if (!ready.WaitFor(500))
///         fprintf(stderr, "still loading after half a second\n");
///     loader.join();
///
/// Any thread may call anything. The object must outlive the calls, but a thread that has seen the flag
/// raised may destroy it while Raise() is still returning in another one.

#include <quarn/Attributes.h>

#include <stdint.h>

#include <memory>

namespace quarn {

class QUARN_API PermanentCondition {
public:
    PermanentCondition();
    ~PermanentCondition();
    PermanentCondition(const PermanentCondition&) = delete;
    PermanentCondition& operator=(const PermanentCondition&) = delete;

    /// Raises the flag and wakes everyone who waits for it. Returns true to the one call that changed it, so
    /// that the caller can make something happen once.
    bool Raise();

    /// Whether the flag is up. Takes no lock; what the raising thread wrote before Raise() is visible when
    /// the answer is true.
    bool IsRaised() const;

    /// Waits until the flag is up, at most this many milliseconds of the monotonic clock (0 only looks).
    /// Returns the flag as it then stands.
    bool WaitFor(uint32_t milliseconds);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
