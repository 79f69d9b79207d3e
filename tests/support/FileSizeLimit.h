#pragma once

#include <signal.h>
#include <sys/resource.h>

namespace quarn::test {

/// Limits the size of every file that the process writes, as a full disk would, while it lives. One at a time.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t size) {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &saved_);
        const rlimit limit{size, saved_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &saved_); }

private:
    rlimit saved_;
};

}  // namespace quarn::test
