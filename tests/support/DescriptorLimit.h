#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace quarn::test {

/// Leaves the process no more than so many free descriptors while it lives. One at a time.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t free) {
        getrlimit(RLIMIT_NOFILE, &saved_);
        rlim_t limit = 0;
        for (rlim_t left = free + 1; left > 0; ++limit)
            left -= fcntl(static_cast<int>(limit), F_GETFD) < 0;
        const rlimit lower{limit - 1, saved_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &lower);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &saved_); }

private:
    rlimit saved_;
};

}  // namespace quarn::test
