#pragma once

/// Base of every long-running activity: a thread that waits for file descriptors and for wake-ups, and runs
/// the overrides of its subclass with the worker's lock held.
///
///     class Receiver final : public quarn::Worker {
///     public:
///         explicit Receiver(int fd) : Worker(nullptr, "rx"), fd_(fd) { Start(); }
///         ~Receiver() {
///             try {
///                 Stop();
///             } catch (const quarn::MonitorException& e) {  // stuck in Work(): abandoned
///                 fprintf(stderr, "%s\n", e.Description().c_str());
///                 abort();
///             }
///         }
///
///     private:
///         bool Initialize() override {
///             AddWaitableFileDescriptor(fd_, WAIT_READ, "radio");
///             return true;
///         }
///         bool Work() override { return !GetReadyFileDescriptors().contains(fd_) || ReadFrom(fd_); }
///         int fd_;
///     };
///
/// The life of a worker: constructed, Start(), and then either Stop() or an override that returns false or
/// throws. Start() belongs at the end of the constructor of the concrete class and Stop() at the beginning of
/// its destructor, because the thread calls its overrides between the two. Stop() is due in either case.
/// There is no virtual destructor: the owner deletes the concrete class, which is best marked final.
///
/// Threads and locks: Initialize(), PreWait(), Work() and Finalize() run on the worker's thread with the lock
/// held; the wait between them runs without it. Other threads take the lock around everything that they share
/// with the overrides and call Wake() afterwards. The lock is not recursive. The functions that list or clear
/// all workers take the lock of the registry first and then each worker's: call them with no worker's lock
/// held, that is, never from an override that has not released its own, and create and destroy workers
/// likewise.
///
/// Unless noted otherwise any thread may call a function at any time, with or without the lock, and every
/// failure is a MonitorException.

#include <quarn/Attributes.h>

#include <stddef.h>
#include <stdint.h>

#include <list>
#include <map>
#include <memory>
#include <string>

namespace quarn {

class Debuggable;

class QUARN_API Worker {
public:
    /// What a descriptor is watched for, and what it was found ready for.
    enum ReadyFlag : int32_t {
        WAIT_READ = 0x1,      ///< readable, a connection that the peer closed included
        WAIT_WRITE = 0x2,     ///< writable
        WAIT_PRIORITY = 0x4,  ///< urgent data
    };

    /// Enters the worker into the registry under its name or, when that is taken, the name followed by "-1",
    /// "-2" and so on, the first that is free. Its debug level is the parent's, which must outlive it; with a
    /// null parent it is 0. At a level other than 0 the calls of Initialize() and Finalize() are printed.
    Worker(Debuggable* parent, const std::string& name);
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Starts the thread, which is named after the worker. Throws "Worker ... has already been started." for
    /// a second call, "Worker ... has already been stopped." after a Stop() that came first, and, with the
    /// system's error text, when the wait's descriptors or the thread cannot be had; the call may then be
    /// repeated.
    void Start();

    /// Tells the thread to end and waits for it, at most 1000 ms. Does nothing before Start() and when it has
    /// been called before, even if that call is still waiting. Throws "Timeout waiting for thread to exit on
    /// worker ..." when the thread does not come back from an override in time. Such a worker is abandoned
    /// and GetStatus() says so: its thread may go on for as long as the override lasts, so that whoever gets
    /// this exception leaves the object, and all else that the override uses, alive for good. Must not be
    /// called with the worker's lock held, nor by the worker's own thread, which can only abandon itself.
    void Stop();

    /// Makes the thread run Work() once, as soon as it can: each call counts, three calls are three runs.
    /// Throws "Wake called on worker ..., but it has not been started" before Start().
    void Wake();

    /// Takes the lock. Returns false at once, without it, when a stop was requested or the worker is
    /// finishing or finished, unless the caller is the worker's own thread; false as well as soon as the
    /// worker finishes meanwhile. Waiting threads get the lock in the order of their calls. Throws "Timed out
    /// waiting on mutex for worker ..." when it cannot be had within a second.
    bool Lock();

    /// Lock() with a limit of its own; returns false instead of throwing when it passes.
    bool TryLock(uint32_t milliseconds);

    /// Releases the lock. Does nothing when the calling thread does not hold it.
    void Unlock();

    /// Under the lock, copies `value` over `shared` and wakes the worker if the `length` bytes differ.
    /// Returns whether they did; false also when the lock was refused. Throws as Lock() and Wake() do; the
    /// lock is released in any case.
    bool SetSharedDataAndWake(void* shared, const void* value, size_t length);

    /// Compares the `length` bytes under the lock every `pollMs` milliseconds until they are equal: then
    /// returns true. Returns false when `timeoutMs` milliseconds have passed (0 makes a single comparison)
    /// and when the lock is refused. Throws as Lock() does. Not for the worker's own thread.
    bool WaitForSharedDataEqual(void* shared, const void* value, size_t length, uint32_t pollMs,
                                uint32_t timeoutMs);

    /// Whether the calling thread is the worker's; false once the thread was joined or abandoned.
    bool IsCallerWorker() const;

    /// The limit of the wait in milliseconds: -1, the default, for none, 0 to look without waiting. When it
    /// passes Work() is called with nothing ready. A change counts from the next wait.
    int32_t GetPollInterval() const;
    void SetPollInterval(int32_t milliseconds);

    /// The descriptor of the wait, which can be watched in another one; -1 before Start().
    int GetPollDescriptor() const;

    /// The descriptors that the last wait found ready, each with its ReadyFlags; empty when it found none.
    /// Kept when PreWait() skips the wait. Only for Work(), on the worker's thread. A descriptor that another
    /// thread removes just when the wait ends may still be in it once.
    const std::map<int, int32_t>& GetReadyFileDescriptors() const;

    /// The name under which the worker is registered.
    const std::string& GetName() const;

    /// "not started", "running", "stopping", "joined" or "abandoned". A worker that ended by itself is shown
    /// as "stopping" until Stop() joins it; one that was stopped before it was started as "abandoned".
    std::string GetStatus() const;

    /// Appends the status, the timing of Work(), what the wake-ups were for, and GetExtraStatistics(), all
    /// under the lock unless the caller has it or it is refused. Throws as Lock() does.
    void GetStatistics(std::list<std::string>& lines);
    /// Zeroes the figures of GetStatistics() and calls ClearExtraStatistics(), under the lock likewise.
    void ClearStatistics();

    /// Appends a table of all workers by name: the status, how often Work() was run, and the runs per time
    /// since ClearAllWorkerStatistics() under the heading "CPU%". A busy worker does not delay it.
    static void GetAllWorkerSummary(std::list<std::string>& lines);
    /// GetStatistics() or ClearStatistics() of all workers by name. The first worker whose lock cannot be had
    /// within a second ends the call with an exception.
    static void GetAllWorkerStatistics(std::list<std::string>& lines);
    static void ClearAllWorkerStatistics();
    /// GetAllWorkerStatistics() of those whose names match the pattern (see Wildcard), case mattering.
    static void GetMatchingWorkerStatistics(const std::string& pattern, std::list<std::string>& lines);

    // The order of the virtual functions is fixed.

    /// Has the wait watch a descriptor for the ReadyFlags. The description, for statistics, may be empty. A
    /// descriptor ends every wait for as long as it stays ready (level-triggered). One in a state of error or
    /// hang-up alone, such as a pipe without writers, does so too but is not reported as ready: an owner that
    /// can meet this (a TCP socket watched for WAIT_READ cannot) looks at the descriptor in every Work() and
    /// removes it. Throws "Error adding file descriptor ...", also before Start() and for a descriptor that
    /// is being watched already. Called by an override or with the lock held.
    virtual void AddWaitableFileDescriptor(int fd, int32_t flags, const std::string& description);

    /// Ends the watch; to be called before the descriptor is closed. Throws "Error removing file descriptor
    /// ..." and forgets nothing when it is not being watched or is closed. Called by an override or with the
    /// lock held.
    virtual void RemoveWaitableFileDescriptor(int fd);

protected:
    // The overrides. A MonitorException that one throws is printed and ends the thread, with Finalize(); any
    // other exception ends the process.

    /// The thread's first act. False ends the thread.
    virtual bool Initialize();
    /// Called before every wait. False skips the wait, so that Work() is called again at once.
    virtual bool PreWait();
    /// Called after every wait: after a wake-up, when a descriptor is ready, when the poll interval passed.
    /// False ends the thread.
    virtual bool Work();
    /// The thread's last act, however it ended; in the worst case, when another thread has not released the
    /// lock for a second, without it.
    virtual void Finalize();
    /// Adds lines to the statistics. Called between Start() and the end of Stop() by whoever asks for
    /// statistics, with the lock held unless a stop was requested or the worker finishes.
    virtual void GetExtraStatistics(std::list<std::string>& lines);
    /// Clears what GetExtraStatistics() shows; called likewise.
    virtual void ClearExtraStatistics();

    /// Takes the worker out of the registry. A worker that was not stopped, or that still watches
    /// descriptors, is reported with mask ERR. A thread that has not ended then does so by itself as soon as it
    /// can, without Finalize(). That limits the damage and is no substitute for Stop(): the override that it is
    /// in, or enters at this very moment, meets an object that is going away.
    ~Worker();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
