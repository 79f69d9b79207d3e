#pragma once

#include <stdint.h>
#include <sys/epoll.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace quarn {

/// What one wait found.
struct Wakeup {
    uint32_t events = 0;                           ///< units taken from the wake-up counter
    std::vector<std::pair<int, int32_t>> ready{};  ///< descriptors and their Worker::ReadyFlags
    bool timedOut = false;
};

/// What a worker waits on: a wake-up counter and any number of descriptors. A cycle of Prepare(), Wait() and
/// Publish() allocates nothing once every descriptor has been ready.
///
/// Failures are thrown as MonitorException and name the worker.
class WaitSet {
public:
    /// Keeps a reference to the name.
    explicit WaitSet(const std::string& workerName) : workerName_(workerName) {}
    ~WaitSet() { Close(); }
    WaitSet(const WaitSet&) = delete;
    WaitSet& operator=(const WaitSet&) = delete;

    /// Makes the counter and the wait; when it throws there is neither.
    void Open();
    /// Closes both when open; failures are printed.
    void Close();

    // For any thread.
    void Signal();
    void Add(int fd, int32_t flags, const std::string& description);
    void Remove(int fd);
    std::map<int, std::string> Descriptions() const;
    int PollDescriptor() const { return pollFd_; }

    // For the worker's thread; Prepare() and Publish() with the worker's lock held.
    void Prepare();
    const Wakeup& Wait(int32_t milliseconds);
    void Publish();
    const std::map<int, int32_t>& Ready() const { return ready_; }

private:
    void TakeEvent();

    const std::string& workerName_;
    std::atomic<int> eventFd_{-1};
    std::atomic<int> pollFd_{-1};

    mutable std::mutex mutex_;  // of the descriptions only
    std::map<int, std::string> descriptions_;

    std::vector<epoll_event> buffer_;
    Wakeup wakeup_;
    std::map<int, int32_t> ready_;
    std::vector<std::map<int, int32_t>::node_type> spare_;  // nodes that ready_ does not need at the moment
};

}  // namespace quarn
