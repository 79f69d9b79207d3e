#pragma once

/// An exclusive lock between processes, for short transactions with a device that several daemons share.
///
///     try {
///         quarn::NamedLock bus("i2c-1");
///         bus.Lock();
///         Transact();
///         bus.Unlock();
///     } catch (const quarn::MonitorException& e) {  // also when another process holds the bus too long
///         fprintf(stderr, "bus transaction: %s\n", e.Description().c_str());
///     }
///
/// The lock is advisory (flock(2)), on the file "/var/lock/LCK.." followed by the name; the file is created
/// when it is missing and never deleted. It excludes other processes and other NamedLock objects of this one.
/// An object is used by one thread at a time.

#include <quarn/Attributes.h>

#include <memory>
#include <string>

namespace quarn {

class QUARN_API NamedLock {
public:
    /// Opens the lock file without locking it. Throws MonitorException "NamedLock: could not create ..."
    /// with the path and the system's error text.
    explicit NamedLock(const std::string& name);
    /// Closes the file, which releases a lock still held. A failure is printed with mask ERR.
    ~NamedLock();
    NamedLock(const NamedLock&) = delete;
    NamedLock& operator=(const NamedLock&) = delete;

    /// Takes the lock, trying every millisecond. Throws MonitorException "NamedLock: attempt to lock ...
    /// timed out after ... ms" when the holder keeps it for more than 100 ms: a device transaction is
    /// brief, and a longer one is a failure rather than something to wait for. Throws MonitorException
    /// "NamedLock: error locking ..." when the system refuses.
    void Lock();

    /// Tries once. Returns whether the lock was taken.
    bool TryLock();

    /// Releases the lock. Throws MonitorException "NamedLock: error unlocking ..." when the system refuses.
    void Unlock();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
