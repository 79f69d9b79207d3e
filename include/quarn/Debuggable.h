#pragma once

/// Base of objects that have a debug level, their own or their parent's.
///
///     class Service : public quarn::Debuggable {
///     public:
///         explicit Service(quarn::Debuggable* parent) : quarn::Debuggable(parent) {}
///     };
///     Service service(nullptr);
///     service.SetDebugLevel(1);

#include <quarn/Attributes.h>

#include <stdint.h>

#include <atomic>

namespace quarn {

class QUARN_API Debuggable {
public:
    /// With a null parent the object has a level of its own, 0 at first; otherwise it reads and writes its
    /// parent's, which must outlive it.
    explicit Debuggable(Debuggable* parent);
    virtual ~Debuggable();
    Debuggable(const Debuggable&) = delete;
    Debuggable& operator=(const Debuggable&) = delete;

    /// Any thread may read and write the level.
    uint32_t GetDebugLevel() const { return level_->load(std::memory_order_relaxed); }
    void SetDebugLevel(uint32_t level) { level_->store(level, std::memory_order_relaxed); }

private:
    std::atomic<uint32_t>* level_;
    bool ownsLevel_;
};

}  // namespace quarn
