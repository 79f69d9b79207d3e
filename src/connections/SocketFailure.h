#pragma once

namespace quarn {

/// Throws MonitorException "%s: %s: %s" with the description of the descriptor, what failed, and the errno
/// value as text.
[[noreturn]] void ThrowSocketFailure(int fd, const char* what, int error);

}  // namespace quarn
