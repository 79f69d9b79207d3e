#pragma once

#include <quarn/Debuggable.h>
#include <quarn/PermanentCondition.h>
#include <quarn/Worker.h>

#include "workers/OwnerLock.h"
#include "workers/ThreadId.h"
#include "workers/WaitSet.h"
#include "workers/WorkerStatistics.h"

#include <atomic>
#include <chrono>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace quarn {

class MonitorException;

// The thread and the states of a worker. The functions with the names of Worker's do what those promise.
//
// Locks, in the order in which they are taken: the registry's, the worker's (`lock`), `extrasMutex`. The
// mutexes of the wait set and of the statistics are held for moments and never around a call.
class Worker::Impl : public Debuggable {
public:
    Impl(Worker* owner, Debuggable* parent, const std::string& requestedName);
    ~Impl() override = default;

    void Start();
    void Stop();
    void Wake();
    bool Lock();
    OwnerLock::Outcome TryLock(std::chrono::milliseconds limit);
    void Unlock() { lock.Release(CurrentThreadId()); }
    bool IsCallerWorker() const { return hasThread && IsOwnThread(); }
    const char* DescribeStatus() const;
    void GetStatistics(std::list<std::string>& lines);
    void ClearStatistics();

    // The owner's farewell. Returns false when the thread has not ended and is left to delete this object.
    bool Dismantle();

    static void GetAllSummary(std::list<std::string>& lines);
    static void GetMatchingStatistics(const std::string& pattern, std::list<std::string>& lines);
    static void ClearAllStatistics();

    std::string name;
    WaitSet waitSet{name};
    std::atomic<int32_t> pollInterval{-1};

private:
    struct Registry;
    class StatisticsLock;

    bool IsOwnThread() const { return threadId.load(std::memory_order_relaxed) == CurrentThreadId(); }
    void ThreadMain();
    void Loop();
    void LockForFinalize();
    void RunFinalize();
    bool Conclude();
    void Orphan();
    void Unregister();
    bool Reclaim();
    void AllowExtras(bool allow);
    // "Worker ...", its name and what it did, as from the caller's line; progress only at a debug level.
    void Print(uint32_t mask, const char* what, int line = __builtin_LINE()) const;
    void PrintProgress(const char* what, int line = __builtin_LINE()) const;
    void PrintException(const char* what, const MonitorException& e, int line = __builtin_LINE()) const;
    void WarnUnjoined() const;
    void WarnWatched() const;

    Worker* const owner;
    OwnerLock lock;
    WorkerStatistics statistics;

    std::mutex lifecycleMutex;  // of Start() against Stop(), and of the next two
    bool concluded = false;     // the thread is about to raise `exited`
    bool leftToThread = false;  // the owner has gone, and the thread deletes this object
    std::thread thread;
    std::atomic<bool> hasThread{false};  // from Start() until the thread was joined or abandoned
    std::atomic<uint64_t> threadId{0};   // the thread's CurrentThreadId(); stays when it has gone
    std::atomic<bool> ownerGone{false};  // the object was destroyed around its thread
    PermanentCondition started;
    PermanentCondition exited;
    PermanentCondition joined;
    PermanentCondition finishing;
    PermanentCondition stopRequested;

    std::mutex extrasMutex;  // held while the owner's statistics overrides run
    bool extrasAllowed = false;
};

}  // namespace quarn
