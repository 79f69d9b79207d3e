#include <quarn/Accessor.h>
#include <quarn/MonitorException.h>

namespace quarn {

Accessor::~Accessor() = default;

std::set<std::string> Accessor::GetConsoleCommands(bool) const {
    return {};
}

std::set<std::string> Accessor::GetConfigurationSections() const {
    return {};
}

void Accessor::Configure(const std::string&, const std::vector<std::string>&) {
    throw MonitorException("Accessor does not support configuration");
}

std::list<std::string> Accessor::Execute(const std::string&, const std::vector<std::string>&) {
    throw MonitorException("Accessor does not support command execution");
}

void Accessor::GetStatistics(std::list<std::string>&) {}

void Accessor::ClearStatistics() {}

}  // namespace quarn
