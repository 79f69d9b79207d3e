#pragma once

#include <string>
#include <vector>

namespace quarn {

/// Adds the names in an open directory, except "." and "..", in no order. The descriptor stays the caller's.
/// Returns false, with the reason in errno, when the directory cannot be read to its end.
bool ListDirectory(int directory, std::vector<std::string>& names);

}  // namespace quarn
