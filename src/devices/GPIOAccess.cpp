#include <quarn/GPIOAccess.h>

namespace quarn {

std::set<std::string> GPIOAccess::GetConfigurationSections() const {
    return {};
}

}  // namespace quarn
