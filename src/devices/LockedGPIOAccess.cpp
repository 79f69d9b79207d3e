#include <quarn/LockedGPIOAccess.h>

namespace quarn {

uint32_t LockedGPIOAccess::Get(const std::string& name) {
    const std::lock_guard guard(mutex_);
    return gpio_.Get(name);
}

void LockedGPIOAccess::Set(const std::string& name, uint32_t value) {
    const std::lock_guard guard(mutex_);
    gpio_.Set(name, value);
}

std::set<std::string> LockedGPIOAccess::GetConsoleCommands(bool withDescriptions) const {
    const std::lock_guard guard(mutex_);
    return gpio_.GetConsoleCommands(withDescriptions);
}

std::set<std::string> LockedGPIOAccess::GetConfigurationSections() const {
    const std::lock_guard guard(mutex_);
    return gpio_.GetConfigurationSections();
}

void LockedGPIOAccess::Configure(const std::string& section, const std::vector<std::string>& words) {
    const std::lock_guard guard(mutex_);
    gpio_.Configure(section, words);
}

std::list<std::string> LockedGPIOAccess::Execute(const std::string& command,
                                                 const std::vector<std::string>& words) {
    const std::lock_guard guard(mutex_);
    return gpio_.Execute(command, words);
}

void LockedGPIOAccess::GetStatistics(std::list<std::string>& lines) {
    const std::lock_guard guard(mutex_);
    gpio_.GetStatistics(lines);
}

void LockedGPIOAccess::ClearStatistics() {
    const std::lock_guard guard(mutex_);
    gpio_.ClearStatistics();
}

}  // namespace quarn
