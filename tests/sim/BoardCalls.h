#pragma once

#include <errno.h>
#include <stdint.h>

namespace quarn::sim {

/// What a call has given: its result, or its errno as a negative number.
inline int64_t Result(int64_t returned) {
    return returned == -1 ? -errno : returned;
}

}  // namespace quarn::sim
