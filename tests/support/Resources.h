#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>

#include <filesystem>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#else
#include <malloc.h>
#endif

namespace quarn::test {

/// The number of this process's open file descriptors.
inline size_t CountDescriptors() {
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(open), end(open)));
}

/// The bytes that the process has allocated and not given back.
inline size_t HeapInUse() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return __sanitizer_get_current_allocated_bytes();
#else
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
#endif
}

/// Limits a resource of the process while it lives. One at a time.
class ResourceLimit {
public:
    using Resource = decltype(RLIMIT_NOFILE);

    ResourceLimit(Resource resource, rlim_t most) : resource_(resource) {
        getrlimit(resource, &saved_);
        const rlimit limit{most, saved_.rlim_max};
        setrlimit(resource, &limit);
    }
    ~ResourceLimit() { setrlimit(resource_, &saved_); }
    ResourceLimit(const ResourceLimit&) = delete;
    ResourceLimit& operator=(const ResourceLimit&) = delete;

private:
    const Resource resource_;
    rlimit saved_;
};

/// Leaves the process no more than so many free descriptors.
struct DescriptorLimit : ResourceLimit {
    explicit DescriptorLimit(rlim_t free) : ResourceLimit(RLIMIT_NOFILE, LowestAbove(free)) {}

    /// The lowest number below which so many descriptors are free.
    static rlim_t LowestAbove(rlim_t free) {
        rlim_t number = 0;
        for (; free > 0 || fcntl(static_cast<int>(number), F_GETFD) >= 0; ++number)
            free -= fcntl(static_cast<int>(number), F_GETFD) < 0;
        return number;
    }
};

/// Limits the size of every file that the process writes, as a full disk would.
struct FileSizeLimit : ResourceLimit {
    explicit FileSizeLimit(rlim_t size) : ResourceLimit(RLIMIT_FSIZE, size) { signal(SIGXFSZ, SIG_IGN); }
};

}  // namespace quarn::test
