#include <quarn/TagDetails.h>
#include <quarn/Text.h>

namespace quarn {

TagDetails::TagDetails(uint32_t tag, const std::string& key) : tag_(tag), key_(key) {}

std::string TagDetails::TagAsString(uint32_t tag) {
    return FormatHexU32(tag, 32);
}

}  // namespace quarn
