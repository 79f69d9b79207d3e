#include "foundation/DirectoryListing.h"

#include "foundation/Descriptor.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>

#include <memory>
#include <string_view>

namespace quarn {

namespace {

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

}  // namespace

bool ListDirectory(int directory, std::vector<std::string>& names) {
    // A description of its own, since the listing closes it and moves its position.
    Descriptor own(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, CloseDirectory> listing(own.Get() < 0 ? nullptr : fdopendir(own.Get()));
    if (!listing)
        return false;
    own.Release();
    errno = 0;
    while (const dirent* const entry = readdir(listing.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
        errno = 0;
    }
    return errno == 0;
}

}  // namespace quarn
