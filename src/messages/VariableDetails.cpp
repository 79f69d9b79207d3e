#include <quarn/VariableDetails.h>

namespace quarn {

VariableDetails::VariableDetails(uint32_t tag, const std::string& key, const VariableDictionary& dictionary,
                                 VariantType type)
    : TagDetails(tag, key), dictionary_(dictionary), type_(type) {}

}  // namespace quarn
