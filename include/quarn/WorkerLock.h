#pragma once

/// Holds a worker's lock for the length of a scope.
///
///     {
///         quarn::WorkerLock lock(&worker);  // throws MonitorException after a second without the lock
///         settings = newSettings;
///     }
///     worker.Wake();
///
/// The lock tells nobody whether it was given: a worker that is stopping or finished refuses it. Code that
/// must know uses Worker::Lock().

#include <quarn/Attributes.h>

namespace quarn {

class Worker;

class QUARN_API WorkerLock {
public:
    /// Worker::Lock(), with its exceptions; does nothing for a null worker. The worker must outlive this
    /// object.
    explicit WorkerLock(Worker* worker);
    /// Worker::Unlock() when the lock was given.
    ~WorkerLock();
    WorkerLock(const WorkerLock&) = delete;
    WorkerLock& operator=(const WorkerLock&) = delete;

private:
    Worker* worker_;
    bool locked_;
};

}  // namespace quarn
