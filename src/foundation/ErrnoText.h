#pragma once

#include <string>

namespace quarn {

/// The system's text of an errno value, the same as strerror() gives, but safe to ask for in any thread.
/// Leaves errno alone.
std::string ErrnoText(int error);

}  // namespace quarn
