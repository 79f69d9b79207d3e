#include "workers/WorkerImpl.h"

#include <quarn/Debug.h>
#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>
#include <quarn/Wildcard.h>

#include <map>
#include <system_error>

namespace quarn {

namespace {

constexpr std::chrono::milliseconds kLockLimit(1000);
constexpr uint32_t kStopLimitMs = 1000;

std::string FormatRuns(uint64_t runs, uint64_t elapsedUs) {
    if (elapsedUs == 0)
        return "never cleared";
    // Deliberately runs per time and not a load. The product passes 64 bits in a few months of fast cycles.
    const auto share = static_cast<uint64_t>(static_cast<unsigned __int128>(runs) * 10000000 / elapsedUs);
    return Format("%lu.%05lu", share / 100000, share % 100000);
}

}  // namespace

// All workers of the process. Never destroyed, because workers may outlive main().
struct Worker::Impl::Registry {
    std::mutex mutex;
    std::map<std::string, Impl*> workers;  // by name
    uint64_t clearTick = 0;                // of the last ClearAllStatistics(), 0 for none

    static Registry& Get() {
        static Registry& registry = *new Registry;
        return registry;
    }

    std::string FreeName(const std::string& requested) const {
        std::string free = requested;
        for (int i = 1; workers.contains(free); ++i)
            free = requested + Format("-%d", i);
        return free;
    }
};

// Holds the lock while figures are read, unless the caller has it already or it is refused.
class Worker::Impl::StatisticsLock {
public:
    explicit StatisticsLock(Impl& impl)
        : impl_(impl), locked_(!impl.lock.IsOwnedBy(CurrentThreadId()) && impl.Lock()) {}
    ~StatisticsLock() {
        if (locked_)
            impl_.Unlock();
    }
    StatisticsLock(const StatisticsLock&) = delete;
    StatisticsLock& operator=(const StatisticsLock&) = delete;

private:
    Impl& impl_;
    const bool locked_;
};

Worker::Impl::Impl(Worker* worker, Debuggable* parent, const std::string& requestedName)
    : Debuggable(parent), owner(worker) {
    // Last, because from here on the listings find this object.
    Registry& registry = Registry::Get();
    const std::lock_guard guard(registry.mutex);
    name = registry.FreeName(requestedName);
    registry.workers.emplace(name, this);
}

bool Worker::Impl::Dismantle() {
    if (!started.IsRaised() || exited.IsRaised())
        waitSet.Close();
    else
        Orphan();
    if (thread.joinable()) {
        WarnUnjoined();
        thread.detach();
    }
    WarnWatched();
    Unregister();
    return Reclaim();
}

// Has a thread whose owner is being destroyed around it end as soon as it can, without the overrides.
void Worker::Impl::Orphan() {
    ownerGone = true;
    stopRequested.Raise();
    try {
        waitSet.Signal();
    } catch (const MonitorException&) {  // cannot fail on an open counter, and there is nobody to tell
    }
}

void Worker::Impl::Unregister() {
    Registry& registry = Registry::Get();
    const std::lock_guard guard(registry.mutex);
    registry.workers.erase(name);
}

// Whether the caller is the one to delete this object; if not, the thread is.
bool Worker::Impl::Reclaim() {
    if (!started.IsRaised())
        return true;
    {
        const std::lock_guard guard(lifecycleMutex);
        leftToThread = !concluded;
        if (leftToThread)
            return false;
    }
    while (!exited.WaitFor(kStopLimitMs)) {
        // the thread is at its last line
    }
    return true;
}

void Worker::Impl::Start() {
    const std::lock_guard guard(lifecycleMutex);
    if (started.IsRaised())
        throw MonitorException("Worker \"%s\" has already been started.", name.c_str());
    if (stopRequested.IsRaised())
        throw MonitorException("Worker \"%s\" has already been stopped.", name.c_str());
    waitSet.Open();
    if (GetDebugLevel() != 0 && DefaultDebug())
        DefaultDebug()->Printf(DEBUG_ALWAYS, __FILE__, __LINE__, "Creating worker thread for worker \"%s\"",
                               name.c_str());
    hasThread = true;
    AllowExtras(true);
    try {
        thread = std::thread(&Impl::ThreadMain, this);
    } catch (const std::system_error& e) {
        AllowExtras(false);
        hasThread = false;
        waitSet.Close();
        throw MonitorException("Error creating thread for worker \"%s\": %s", name.c_str(),
                               e.code().message().c_str());
    }
    started.Raise();
}

void Worker::Impl::Stop() {
    {
        const std::lock_guard guard(lifecycleMutex);
        if (!stopRequested.Raise() || !started.IsRaised())
            return;
    }
    waitSet.Signal();
    if (exited.WaitFor(kStopLimitMs)) {
        joined.Raise();
        thread.join();
        hasThread = false;
        AllowExtras(false);
        return;
    }
    thread.detach();
    hasThread = false;
    AllowExtras(false);
    throw MonitorException("Timeout waiting for thread to exit on worker \"%s\"", name.c_str());
}

void Worker::Impl::Wake() {
    if (!started.IsRaised())
        throw MonitorException("Wake called on worker \"%s\", but it has not been started", name.c_str());
    waitSet.Signal();
}

OwnerLock::Outcome Worker::Impl::TryLock(std::chrono::milliseconds limit) {
    const bool own = IsOwnThread();
    if ((finishing.IsRaised() || stopRequested.IsRaised()) && !own)
        return OwnerLock::Outcome::CLOSED;
    return lock.Acquire(CurrentThreadId(), limit, own);
}

bool Worker::Impl::Lock() {
    const OwnerLock::Outcome outcome = TryLock(kLockLimit);
    if (outcome == OwnerLock::Outcome::TIMED_OUT)
        throw MonitorException("Timed out waiting on mutex for worker \"%s\"", name.c_str());
    return outcome == OwnerLock::Outcome::LOCKED;
}

const char* Worker::Impl::DescribeStatus() const {
    if (joined.IsRaised())
        return "joined";
    if (stopRequested.IsRaised())
        return hasThread ? "stopping" : "abandoned";
    if (!finishing.IsRaised())
        return exited.IsRaised() ? "exited" : hasThread ? "running" : "not started";
    return "stopping";  // also for a worker that has ended by itself, until it is joined
}

void Worker::Impl::ThreadMain() {
    threadId = CurrentThreadId();
    started.Raise();  // Start() may not have come that far
    Debug::SetThreadName(name);
    try {
        Loop();
    } catch (const MonitorException& e) {
        PrintException("raised exception", e);
    }
    finishing.Raise();
    lock.Close();
    if (!ownerGone) {
        LockForFinalize();
        RunFinalize();
    }
    if (Conclude())
        delete this;
    else
        exited.Raise();  // the last touch, for Stop() may now return; the lock is deliberately left held
}

// Whether the owner has gone and left this object to the thread.
bool Worker::Impl::Conclude() {
    const std::lock_guard guard(lifecycleMutex);
    concluded = !leftToThread;
    return leftToThread;
}

void Worker::Impl::Loop() {
    Lock();
    if (ownerGone)
        return;
    PrintProgress("calling Initialize override");
    if (!owner->Initialize()) {
        Print(DEBUG_INFO, "Initialize override requested exit");
        return;
    }
    PrintProgress("completed Initialize override");
    while (!stopRequested.IsRaised()) {
        const bool wait = owner->PreWait();
        if (wait)
            waitSet.Prepare();
        Unlock();
        if (wait)
            statistics.CountWait(waitSet.Wait(pollInterval));
        if (ownerGone)
            return;
        if (stopRequested.IsRaised()) {
            Print(DEBUG_ERR, "was told to stop while waiting");
            return;
        }
        Lock();
        if (wait)
            waitSet.Publish();
        statistics.EnterWork();
        const bool goOn = owner->Work();
        statistics.LeaveWork();
        if (!goOn) {
            Print(DEBUG_ERR, "Work override requested exit");
            return;
        }
    }
}

void Worker::Impl::LockForFinalize() {
    try {
        if (!lock.IsOwnedBy(CurrentThreadId()))
            Lock();
    } catch (const MonitorException& e) {
        PrintException("could not reacquire lock prior to finalization", e);
    }
}

void Worker::Impl::RunFinalize() {
    PrintProgress("calling Finalize override");
    try {
        owner->Finalize();
        PrintProgress("completed Finalize override");
    } catch (const MonitorException& e) {
        PrintException("Finalize override raised exception", e);
    }
}

void Worker::Impl::GetStatistics(std::list<std::string>& lines) {
    const StatisticsLock guard(*this);
    statistics.Describe(name, DescribeStatus(), waitSet.Descriptions(), lines);
    const std::lock_guard extrasGuard(extrasMutex);
    if (extrasAllowed)
        owner->GetExtraStatistics(lines);
}

void Worker::Impl::ClearStatistics() {
    const StatisticsLock guard(*this);
    statistics.Clear();
    const std::lock_guard extrasGuard(extrasMutex);
    if (extrasAllowed)
        owner->ClearExtraStatistics();
}

// Forbidding waits for an override that runs, so that the owner may be destroyed afterwards.
void Worker::Impl::AllowExtras(bool allow) {
    const std::lock_guard guard(extrasMutex);
    extrasAllowed = allow;
}

void Worker::Impl::GetAllSummary(std::list<std::string>& lines) {
    Registry& registry = Registry::Get();
    const std::lock_guard guard(registry.mutex);
    const uint64_t elapsed = registry.clearTick == 0 ? 0 : Tick() - registry.clearTick;
    std::list<std::list<std::string>> rows{{"Name", "Status", "Runs", "CPU% (*)"}};
    for (const auto& [name, impl] : registry.workers) {
        const uint64_t runs = impl->statistics.GetRuns();
        rows.push_back({name, impl->DescribeStatus(), Format("%lu", runs), FormatRuns(runs, elapsed)});
    }
    lines.splice(lines.end(), FormatColumnarList(rows));
    lines.push_back("(*) since last 'mon clear'");
}

void Worker::Impl::GetMatchingStatistics(const std::string& pattern, std::list<std::string>& lines) {
    Registry& registry = Registry::Get();
    const std::lock_guard guard(registry.mutex);
    for (const auto& [name, impl] : registry.workers)
        if (Wildcard::Match(name, pattern, true))
            impl->GetStatistics(lines);
}

void Worker::Impl::ClearAllStatistics() {
    Registry& registry = Registry::Get();
    const std::lock_guard guard(registry.mutex);
    for (const auto& worker : registry.workers)
        worker.second->ClearStatistics();
    registry.clearTick = Tick();
}

void Worker::Impl::Print(uint32_t mask, const char* what, int line) const {
    if (DefaultDebug())
        DefaultDebug()->Printf(mask, __FILE__, line, "Worker \"%s\" %s", name.c_str(), what);
}

void Worker::Impl::PrintProgress(const char* what, int line) const {
    if (GetDebugLevel() != 0)
        Print(DEBUG_ALWAYS, what, line);
}

void Worker::Impl::PrintException(const char* what, const MonitorException& e, int line) const {
    Print(DEBUG_ERR, what, line);
    if (DefaultDebug())
        DefaultDebug()->Printf(DEBUG_ERR, __FILE__, line, "  %s", e.Description().c_str());
}

void Worker::Impl::WarnUnjoined() const {
    Debug* const debug = DefaultDebug();
    if (!debug)
        return;
    debug->Printf(DEBUG_ERR, __FILE__, __LINE__,
                  "WARNING: Worker \"%s\" is being destroyed without Stop having been called.", name.c_str());
    debug->Printf(DEBUG_ERR, __FILE__, __LINE__,
                  "         If its unjoined thread ever exits, the application will crash.");
}

void Worker::Impl::WarnWatched() const {
    Debug* const debug = DefaultDebug();
    const auto descriptions = waitSet.Descriptions();
    if (!debug || descriptions.empty())
        return;
    debug->Printf(DEBUG_ERR, __FILE__, __LINE__,
                  "WARNING: Worker \"%s\" is being destroyed with the following file descriptors",
                  name.c_str());
    debug->Printf(DEBUG_ERR, __FILE__, __LINE__,
                  "         still in its waitable set.  This is not a problem, but if the owner");
    debug->Printf(DEBUG_ERR, __FILE__, __LINE__,
                  "         did not remove them, it may mean that it also forgot to close them.");
    for (const auto& [fd, description] : descriptions)
        debug->Printf(DEBUG_ERR, __FILE__, __LINE__, "          fd %d (%s)", fd, description.c_str());
}

}  // namespace quarn
