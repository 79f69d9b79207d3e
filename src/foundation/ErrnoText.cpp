#include "foundation/ErrnoText.h"

#include <errno.h>
#include <string.h>

namespace quarn {

std::string ErrnoText(int error) {
    const int saved = errno;
    char buffer[128];
    // The GNU variant: the text is in the buffer only when it is no constant of the C library.
    std::string text = strerror_r(error, buffer, sizeof(buffer));
    errno = saved;
    return text;
}

}  // namespace quarn
