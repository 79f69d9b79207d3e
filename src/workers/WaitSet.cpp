#include "workers/WaitSet.h"

#include <quarn/Debug.h>
#include <quarn/MonitorException.h>
#include <quarn/Worker.h>

#include "foundation/ErrnoText.h"

#include <errno.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace quarn {

namespace {

uint32_t EventsFor(int32_t flags) {
    uint32_t events = 0;
    if (flags & Worker::WAIT_READ)
        events |= EPOLLIN;
    if (flags & Worker::WAIT_WRITE)
        events |= EPOLLOUT;
    if (flags & Worker::WAIT_PRIORITY)
        events |= EPOLLPRI;
    return events;
}

int32_t FlagsFor(uint32_t events) {
    int32_t flags = 0;
    if (events & EPOLLIN)
        flags |= Worker::WAIT_READ;
    if (events & EPOLLOUT)
        flags |= Worker::WAIT_WRITE;
    if (events & EPOLLPRI)
        flags |= Worker::WAIT_PRIORITY;
    return flags;
}

bool Watch(int pollFd, int fd, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    return epoll_ctl(pollFd, EPOLL_CTL_ADD, fd, &event) == 0;
}

void CloseDescriptor(std::atomic<int>& descriptor, const char* kind, const std::string& workerName) {
    const int fd = descriptor.exchange(-1);
    if (fd >= 0 && close(fd) != 0 && DefaultDebug())
        DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "Worker \"%s\" failed to close %s fd %d: %s",
                               workerName.c_str(), kind, fd, ErrnoText(errno).c_str());
}

}  // namespace

void WaitSet::Open() {
    try {
        eventFd_ = eventfd(0, EFD_SEMAPHORE | EFD_NONBLOCK | EFD_CLOEXEC);
        if (eventFd_ < 0)
            throw MonitorException("Error creating event file descriptor for worker \"%s\": %s",
                                   workerName_.c_str(), ErrnoText(errno).c_str());
        pollFd_ = epoll_create1(EPOLL_CLOEXEC);
        if (pollFd_ < 0)
            throw MonitorException("Error creating epoll instance for worker \"%s\": %s", workerName_.c_str(),
                                   ErrnoText(errno).c_str());
        if (!Watch(pollFd_, eventFd_, EPOLLIN) && errno != EEXIST)
            throw MonitorException("Error adding event file descriptor %d to epoll instance: %s",
                                   eventFd_.load(), ErrnoText(errno).c_str());
    } catch (const MonitorException&) {
        Close();
        throw;
    }
    const std::lock_guard guard(mutex_);
    descriptions_.clear();
}

void WaitSet::Close() {
    CloseDescriptor(eventFd_, "event", workerName_);
    CloseDescriptor(pollFd_, "poll", workerName_);
}

void WaitSet::Signal() {
    const uint64_t one = 1;
    const ssize_t written = write(eventFd_, &one, sizeof(one));
    if (written < 0)
        throw MonitorException("Failed to signal event file descriptor for worker \"%s\": %s",
                               workerName_.c_str(), ErrnoText(errno).c_str());
    if (static_cast<size_t>(written) != sizeof(one))
        throw MonitorException("Wrote %zu of %zu bytes signalling event file descriptor for worker \"%s\"",
                               static_cast<size_t>(written), sizeof(one), workerName_.c_str());
}

void WaitSet::Add(int fd, int32_t flags, const std::string& description) {
    if (!Watch(pollFd_, fd, EventsFor(flags)))
        throw MonitorException("Error adding file descriptor %d to epoll instance: %s", fd,
                               ErrnoText(errno).c_str());
    const std::lock_guard guard(mutex_);
    descriptions_[fd] = description.empty() ? "no description" : description;
}

void WaitSet::Remove(int fd) {
    epoll_event unused{};
    if (epoll_ctl(pollFd_, EPOLL_CTL_DEL, fd, &unused) != 0)
        throw MonitorException("Error removing file descriptor %d from epoll instance: %s", fd,
                               ErrnoText(errno).c_str());
    const std::lock_guard guard(mutex_);
    descriptions_.erase(fd);
}

std::map<int, std::string> WaitSet::Descriptions() const {
    const std::lock_guard guard(mutex_);
    return descriptions_;
}

void WaitSet::Prepare() {
    const std::lock_guard guard(mutex_);
    buffer_.resize(descriptions_.size() + 1);
}

const Wakeup& WaitSet::Wait(int32_t milliseconds) {
    int count = 0;
    while ((count = epoll_wait(pollFd_, buffer_.data(), static_cast<int>(buffer_.size()), milliseconds)) <
           0) {
        if (errno != EINTR)
            throw MonitorException("epoll_wait failed in worker \"%s\": %s", workerName_.c_str(),
                                   ErrnoText(errno).c_str());
        if (DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__,
                                   "epoll_wait interrupted by signal in worker \"%s\"", workerName_.c_str());
    }
    wakeup_.events = 0;
    wakeup_.ready.clear();
    wakeup_.timedOut = count == 0;
    for (int i = 0; i < count; ++i) {
        const epoll_event& found = buffer_[static_cast<size_t>(i)];
        if (found.data.fd == eventFd_)
            TakeEvent();
        else if (const int32_t flags = FlagsFor(found.events))  // error or hang-up alone is skipped
            wakeup_.ready.emplace_back(found.data.fd, flags);
    }
    return wakeup_;
}

// Takes one unit: as many waits end as there were signals.
void WaitSet::TakeEvent() {
    uint64_t unit = 0;
    const ssize_t taken = read(eventFd_, &unit, sizeof(unit));
    if (taken < 0)
        throw MonitorException("Failed to read event file descriptor for worker \"%s\": %s",
                               workerName_.c_str(), ErrnoText(errno).c_str());
    if (static_cast<size_t>(taken) != sizeof(unit))
        throw MonitorException("Read %zu of %zu bytes from event file descriptor for worker \"%s\"",
                               static_cast<size_t>(taken), sizeof(unit), workerName_.c_str());
    ++wakeup_.events;
}

void WaitSet::Publish() {
    while (!ready_.empty())
        spare_.push_back(ready_.extract(ready_.begin()));
    for (const auto& [fd, flags] : wakeup_.ready) {
        if (spare_.empty()) {
            ready_[fd] = flags;
            continue;
        }
        spare_.back().key() = fd;
        spare_.back().mapped() = flags;
        ready_.insert(std::move(spare_.back()));
        spare_.pop_back();
    }
}

}  // namespace quarn
