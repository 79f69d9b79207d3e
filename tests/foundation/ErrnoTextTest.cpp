#include "foundation/ErrnoText.h"

#include <gtest/gtest.h>

#include <errno.h>
#include <string.h>

namespace quarn {
namespace {

TEST(ErrnoTextTest, SaysWhatTheSystemSaysAndLeavesErrnoAlone) {
    for (const int error : {0, ENOENT, ECONNREFUSED, -1, 123456}) {
        errno = EAGAIN;
        EXPECT_EQ(ErrnoText(error), strerror(error));
        errno = EAGAIN;
        ErrnoText(error);
        EXPECT_EQ(errno, EAGAIN);
    }
}

}  // namespace
}  // namespace quarn
