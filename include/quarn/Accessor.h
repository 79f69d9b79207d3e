#pragma once

/// Base of every device accessor: what a registry (see Accessors) needs in order to give it the lines of its
/// configuration sections and the console lines of its commands.
///
///     class FanAccess final : public quarn::Accessor {
///     public:
///         std::set<std::string> GetConsoleCommands(bool withDescriptions) const override {
///             return {withDescriptions ? "fan: Show and set the fan's speed" : "fan"};
///         }
///         std::list<std::string> Execute(const std::string& command,
///                                        const std::vector<std::string>& words) override {
///             const quarn::SubcommandParserHelper parser(command, words);
///             if (parser.NoSub())
///                 return {"fan show", "    set <rpm>"};
///             if (parser.Sub("show", 0))
///                 return {quarn::Format("%u rpm", speed_)};
///             if (parser.Sub("set", 1)) {
///                 speed_ = quarn::ParseU32(parser.Arg(0), 6000);  // throws: the reason is the response
///                 return {};
///             }
///             parser.Unk();
///         }
///
///     private:
///         uint32_t speed_ = 0;
///     };
///
/// Every failure of an override is a MonitorException, whose text begins with the accessor's tag
/// ("FAN: ..."). The registry calls the overrides one at a time, on whichever thread it is used by; an
/// accessor that other threads use as well guards its device itself.

#include <quarn/Attributes.h>

#include <list>
#include <set>
#include <string>
#include <vector>

namespace quarn {

class QUARN_API Accessor {
public:
    Accessor() = default;
    Accessor(const Accessor&) = delete;
    Accessor& operator=(const Accessor&) = delete;

    // The order of the virtual functions is fixed.

    /// Accessors belong to the daemon, never to the registry, which they must outlive.
    virtual ~Accessor();

    /// The commands, each the first word of the console lines that it serves; by default none. With
    /// descriptions, help lines instead: the command, a colon, and what it does.
    virtual std::set<std::string> GetConsoleCommands(bool withDescriptions) const;

    /// The sections of the configuration file that it consumes; by default none.
    virtual std::set<std::string> GetConfigurationSections() const;

    /// Takes one line, split into at least one word, of one of its sections. By default throws "Accessor does
    /// not support configuration".
    virtual void Configure(const std::string& section, const std::vector<std::string>& words);

    /// Runs one of its commands with the words behind it. Returns the lines of the response. By default
    /// throws "Accessor does not support command execution".
    virtual std::list<std::string> Execute(const std::string& command, const std::vector<std::string>& words);

    /// Appends lines of statistics; by default none.
    virtual void GetStatistics(std::list<std::string>& lines);
    /// Starts the statistics afresh.
    virtual void ClearStatistics();
};

}  // namespace quarn
