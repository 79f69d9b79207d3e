#include <quarn/Debug.h>
#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/NamedLock.h>

#include "foundation/ErrnoText.h"

#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace quarn {

namespace {

constexpr uint64_t kLimitMs = 100;
constexpr std::chrono::milliseconds kRetryStep(1);

}  // namespace

class NamedLock::Impl {
public:
    explicit Impl(const std::string& name)
        : path("/var/lock/LCK.." + name), fd(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
        if (fd < 0)
            throw MonitorException("NamedLock: could not create %s: %s", path.c_str(),
                                   ErrnoText(errno).c_str());
    }

    ~Impl() {
        if (close(fd) != 0 && DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "NamedLock: could not close %s: %s",
                                   path.c_str(), ErrnoText(errno).c_str());
    }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    bool TryLock() const { return flock(fd, LOCK_EX | LOCK_NB) == 0; }

    const std::string path;
    const int fd;
};

NamedLock::NamedLock(const std::string& name) : impl_(std::make_unique<Impl>(name)) {}

NamedLock::~NamedLock() = default;

void NamedLock::Lock() {
    uint64_t start = 0;
    for (bool isFirstTry = true; !impl_->TryLock(); isFirstTry = false) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            throw MonitorException("NamedLock: error locking %s: %s", impl_->path.c_str(),
                                   ErrnoText(errno).c_str());
        if (isFirstTry)
            start = Tick();  // a lock that is free costs no look at the clock
        const uint64_t elapsed = MillisecondsSince(start);
        if (elapsed > kLimitMs)
            throw MonitorException("NamedLock: attempt to lock %s timed out after %u ms", impl_->path.c_str(),
                                   static_cast<uint32_t>(elapsed));
        std::this_thread::sleep_for(kRetryStep);
    }
}

bool NamedLock::TryLock() {
    return impl_->TryLock();
}

void NamedLock::Unlock() {
    if (flock(impl_->fd, LOCK_UN) != 0)
        throw MonitorException("NamedLock: error unlocking %s: %s", impl_->path.c_str(),
                               ErrnoText(errno).c_str());
}

}  // namespace quarn
